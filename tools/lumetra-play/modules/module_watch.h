// module_watch.h - loads modules anew when their libraries change on disk, on a thread of its own that sleeps
// until the system tells of a change. Frames go on meanwhile.
#ifndef LUMETRA_PLAY_MODULE_WATCH_H
#define LUMETRA_PLAY_MODULE_WATCH_H

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"

class ModuleWatch {
public:
    /// The modules are loaded. @throws PlayError if the system cannot watch them
    ModuleWatch(EngineSession& engine, const MonitorLink& monitor, const std::vector<ModuleRequest>& modules);
    ~ModuleWatch();
    ModuleWatch(const ModuleWatch&) = delete;
    ModuleWatch& operator=(const ModuleWatch&) = delete;

private:
    using Clock = std::chrono::steady_clock;
    struct Place {
        std::string module, entry;  // a change of `entry` in the watched folder concerns the module
    };

    void watch(const std::string& module);
    void run();
    void readEvents();
    void swap(const std::string& module, Clock::time_point changed);

    EngineSession& m_engine;
    const MonitorLink& m_monitor;
    int m_events = -1, m_end[2] = {-1, -1};              // inotify, and a pipe that is closed at the end
    std::multimap<int, Place> m_places;                  // by inotify's number of the folder
    std::map<std::string, Clock::time_point> m_changed;  // modules that wait for their files to be complete
    std::thread m_thread;
};

#endif
