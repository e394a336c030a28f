// module_watch.cpp - comparing what stat() says of the files.
#include "tools/lumetra-play/modules/module_watch.h"

#include <poll.h>

#include <chrono>
#include <cstdio>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::int64_t nanosecondsNow() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

ModuleWatch::ModuleWatch(EngineSession& engine, const MonitorLink& monitor,
                         const std::vector<ModuleRequest>& modules)
    : m_engine(engine), m_monitor(monitor) {
    for (const ModuleRequest& module : modules) {
        if (!module.watched) continue;
        const auto [file, stamp] = engine.fileOf(module.name);
        m_places.push_back({module.name, file, stamp, stamp});
    }
    if (!m_places.empty()) m_thread = std::thread([this] { run(); });
}

ModuleWatch::~ModuleWatch() {
    m_end.set();
    if (m_thread.joinable()) m_thread.join();
}

// What writes a library in steps, such as a linker and then a tool that strips it, is let finish: a change
// counts when the file is the same at the next look.
void ModuleWatch::run() {
    constexpr int LOOK_AGAIN_MS = 50;
    while (!endsWithin(LOOK_AGAIN_MS))
        for (Place& place : m_places) {
            const FileStamp now = stampOf(place.file);
            const bool complete = now == place.seen && now != FileStamp{};
            place.seen = now;
            if (!complete || now == place.inUse) continue;
            place.inUse = now;
            reload(place);
        }
}

void ModuleWatch::reload(const Place& place) {
    try {
        m_engine.reloadModule(place.module);
    } catch (const std::exception& reason) {
        return output::complain(reason.what());
    }
    const std::int64_t before = m_monitor.delivered();
    for (int patience = 2000; m_monitor.delivered() == before && patience > 0 && !endsWithin(1); --patience) {
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f s",
                  static_cast<double>(nanosecondsNow() - std::get<2>(place.inUse)) / 1e9);
    output::say(
        place.module + ": reloaded, " + seconds + " from the change to " +
        (m_monitor.delivered() != before ? "the first frame delivered" : "now, no frame delivered since"));
}

bool ModuleWatch::endsWithin(int milliseconds) const {
    pollfd end{m_end.descriptor(), POLLIN, 0};
    return poll(&end, 1, milliseconds) > 0;
}
