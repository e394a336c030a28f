// module_watch.cpp - inotify on the modules' folders and on the folders that hold those.
#include "tools/lumetra-play/modules/module_watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

using namespace std::chrono_literals;

// What writes a library in steps, such as a linker and then a tool that strips it, is let finish.
constexpr auto QUIET_BEFORE_LOADING = 30ms;

std::string seconds(std::chrono::steady_clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", std::chrono::duration<double>(time).count());
    return text;
}

}  // namespace

ModuleWatch::ModuleWatch(EngineSession& engine, const MonitorLink& monitor,
                         const std::vector<ModuleRequest>& modules)
    : m_engine(engine), m_monitor(monitor) {
    bool any = false;
    for (const ModuleRequest& module : modules) any = any || module.watched;
    if (!any) return;
    m_events = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (m_events < 0 || pipe2(m_end, O_CLOEXEC) != 0)
        throw systemError("cannot watch modules", errno, "leave out --watch or close other programs");
    for (const ModuleRequest& module : modules)
        if (module.watched) watch(module.name);
    m_thread = std::thread([this] { run(); });
}

ModuleWatch::~ModuleWatch() {
    if (m_end[1] >= 0) close(m_end[1]);
    if (m_thread.joinable()) m_thread.join();
    if (m_end[0] >= 0) close(m_end[0]);
    if (m_events >= 0) close(m_events);
}

// The folder NAME.framework may itself be replaced, so the one that holds it is watched too.
void ModuleWatch::watch(const std::string& module) {
    const std::filesystem::path file = m_engine.fileOf(module), folder = file.parent_path();
    const int inside = inotify_add_watch(m_events, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
    const int around = inotify_add_watch(m_events, folder.parent_path().c_str(), IN_CREATE | IN_MOVED_TO);
    if (inside >= 0) {
        m_places.erase(inside);
        m_places.emplace(inside, Place{module, module});
    }
    const std::string entry = folder.filename().string();
    const auto [first, last] = m_places.equal_range(around);
    for (auto place = first; place != last; ++place)
        if (place->second.entry == entry) return;
    if (around >= 0) m_places.emplace(around, Place{module, entry});
}

void ModuleWatch::run() {
    for (;;) {
        pollfd waiting[] = {{m_end[0], POLLIN, 0}, {m_events, POLLIN, 0}};
        const int timeout = m_changed.empty() ? -1 : static_cast<int>(QUIET_BEFORE_LOADING / 1ms);
        const int ready = poll(waiting, 2, timeout);
        if (waiting[0].revents != 0) return;
        if (ready > 0) {
            readEvents();
            continue;
        }
        for (const auto& [module, changed] : std::exchange(m_changed, {})) swap(module, changed);
    }
}

void ModuleWatch::readEvents() {
    alignas(inotify_event) char buffer[4096];
    const ssize_t size = read(m_events, buffer, sizeof buffer);
    for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= size;) {
        const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        std::vector<std::string> concerned;
        const auto [first, last] = m_places.equal_range(event->wd);
        for (auto place = first; place != last; ++place)
            if (event->len > 0 && place->second.entry == event->name)
                concerned.push_back(place->second.module);
        for (const std::string& module : concerned) {
            watch(module);
            m_changed[module] = Clock::now();
        }
    }
}

void ModuleWatch::swap(const std::string& module, Clock::time_point changed) {
    std::error_code error;
    if (!std::filesystem::exists(m_engine.fileOf(module), error)) return;
    try {
        m_engine.swapModule(module);
    } catch (const std::exception& reason) {
        output::complain("the new " + module + " does not load, the old one stays: " + reason.what());
        return;
    }
    const std::int64_t before = m_monitor.delivered();
    const auto until = Clock::now() + 2s;
    pollfd end{m_end[0], POLLIN, 0};
    while (m_monitor.delivered() == before && Clock::now() < until && poll(&end, 1, 1) == 0) {
    }
    const bool seen = m_monitor.delivered() != before;
    output::say(module + ": loaded anew, " + seconds(Clock::now() - changed) + " from the change to " +
                (seen ? "the first frame delivered" : "now, no frame delivered since"));
}
