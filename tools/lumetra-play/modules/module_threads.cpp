// module_threads.cpp - reading lines, and comparing what stat() says of files.
#include "tools/lumetra-play/modules/module_threads.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <utility>

#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

namespace {

void obey(const std::string& line, EngineSession& engine, StopRequest& stop) try {
    if (line == "q")
        stop.stop();
    else if (!line.empty())
        engine.command(parseCommand(line));
} catch (const std::exception& error) {
    output::complain(error.what());
}

void reload(const std::string& name, const FileStamp& change, EngineSession& engine,
            const MonitorLink& monitor, const StopSignal& end) {
    using namespace std::chrono;
    using namespace std::chrono_literals;
    try {
        engine.reloadModule(name);
    } catch (const std::exception& reason) {
        return output::complain(reason.what());
    }
    const std::int64_t before = monitor.delivered();
    for (int patience = 2000;
         monitor.delivered() == before && patience > 0 && end.waitUntil(steady_clock::now() + 1ms);
         --patience) {
    }
    const duration<double> taken = system_clock::now().time_since_epoch() - nanoseconds(std::get<2>(change));
    output::say(
        name + formatted(": reloaded, %.2f s from the change to ", taken.count()) +
        (monitor.delivered() != before ? "the first frame delivered" : "now, no frame delivered since"));
}

}  // namespace

void readCommands(EngineSession& engine, StopRequest& stop, const StopSignal& end) {
    constexpr std::chrono::milliseconds LOOK_AGAIN(500);
    char bytes[4096];
    for (std::string typed;;) {
        // Who reads from the background is stopped by the system.
        const bool background = isatty(STDIN_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) != getpgrp();
        const auto wait = background ? end.waitReadable(-1, StopSignal::Clock::now() + LOOK_AGAIN)
                                     : end.waitReadable(STDIN_FILENO);
        if (wait == StopSignal::Wait::Stopped) return;
        if (wait == StopSignal::Wait::TimeIsUp) continue;
        const ssize_t size = read(STDIN_FILENO, bytes, sizeof bytes);
        if (size < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (size <= 0) return obey(typed, engine, stop);
        typed.append(bytes, static_cast<std::size_t>(size));
        for (std::size_t newline; (newline = typed.find('\n')) != std::string::npos;
             typed.erase(0, newline + 1))
            obey(typed.substr(0, newline), engine, stop);
    }
}

// What writes a library in steps, such as a linker and then a tool that strips it, is let finish: a change
// counts when the file is the same at the next look.
void watchModules(EngineSession& engine, const MonitorLink& monitor, const StopSignal& end) {
    constexpr std::chrono::milliseconds LOOK_AGAIN(50);
    std::map<std::string, FileStamp> seen, tried;
    while (end.waitUntil(StopSignal::Clock::now() + LOOK_AGAIN))
        for (const EngineSession::Module& module : engine.modules()) {
            if (!module.copy) continue;
            const std::string& name = module.request.name;
            const FileStamp now = stampOf(module.file), before = std::exchange(seen[name], now);
            if (now != before || now == FileStamp{} || now == module.copy->original || now == tried[name])
                continue;
            tried[name] = now;
            reload(name, now, engine, monitor, end);
        }
}
