// module_watch.h - reloads modules when their libraries change on disk, on a thread of its own that looks at
// the files twenty times a second. Frames go on meanwhile.
#ifndef LUMETRA_PLAY_MODULE_WATCH_H
#define LUMETRA_PLAY_MODULE_WATCH_H

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/stop_request.h"

class ModuleWatch {
public:
    /// The modules are loaded.
    ModuleWatch(EngineSession& engine, const MonitorLink& monitor, const std::vector<ModuleRequest>& modules);
    ~ModuleWatch();
    ModuleWatch(const ModuleWatch&) = delete;
    ModuleWatch& operator=(const ModuleWatch&) = delete;

private:
    struct Place {
        std::string module;
        std::filesystem::path file;
        FileStamp inUse, seen;
    };

    void run();
    void reload(const Place& place);
    bool endsWithin(int milliseconds) const;

    EngineSession& m_engine;
    const MonitorLink& m_monitor;
    std::vector<Place> m_places;
    Event m_end;
    std::thread m_thread;
};

#endif
