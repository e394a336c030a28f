// module_watch.cpp - comparing what stat() says of the files.
#include "tools/lumetra-play/modules/module_watch.h"

#include <poll.h>

#include <chrono>
#include <map>
#include <utility>

#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

ModuleWatch::ModuleWatch(EngineSession& engine, const MonitorLink& monitor)
    : m_engine(engine), m_monitor(monitor), m_modules(engine.watched()) {
    if (!m_modules.empty()) m_thread = std::thread([this] { run(); });
}

ModuleWatch::~ModuleWatch() {
    m_end.set();
    if (m_thread.joinable()) m_thread.join();
}

// What writes a library in steps, such as a linker and then a tool that strips it, is let finish: a change
// counts when the file is the same at the next look.
void ModuleWatch::run() {
    constexpr int LOOK_AGAIN_MS = 50;
    std::map<std::string, FileStamp> seen;
    while (!endsWithin(LOOK_AGAIN_MS))
        for (WatchedModule& module : m_modules) {
            const FileStamp now = stampOf(module.file), before = std::exchange(seen[module.name], now);
            if (now != before || now == FileStamp{} || now == module.loaded) continue;
            module.loaded = now;  // or tried at least
            reload(module);
        }
}

void ModuleWatch::reload(const WatchedModule& module) {
    using namespace std::chrono;
    try {
        m_engine.reloadModule(module.name);
    } catch (const std::exception& reason) {
        return output::complain(reason.what());
    }
    const std::int64_t before = m_monitor.delivered();
    for (int patience = 2000; m_monitor.delivered() == before && patience > 0 && !endsWithin(1); --patience) {
    }
    const duration<double> taken =
        system_clock::now().time_since_epoch() - nanoseconds(std::get<2>(module.loaded));
    const bool delivered = m_monitor.delivered() != before;
    output::say(module.name + formatted(": reloaded, %.2f s from the change to ", taken.count()) +
                (delivered ? "the first frame delivered" : "now, no frame delivered since"));
}

bool ModuleWatch::endsWithin(int milliseconds) const {
    pollfd end{m_end.descriptor(), POLLIN, 0};
    return poll(&end, 1, milliseconds) > 0;
}
