// module_watch.h - reloads modules when their libraries change on disk, on a thread of its own that looks at
// the files twenty times a second. Frames go on meanwhile.
#ifndef LUMETRA_PLAY_MODULE_WATCH_H
#define LUMETRA_PLAY_MODULE_WATCH_H

#include <thread>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/stop_request.h"

class ModuleWatch {
public:
    ModuleWatch(EngineSession& engine, const MonitorLink& monitor);
    ~ModuleWatch();

private:
    void run();
    void reload(const WatchedModule& module);
    bool endsWithin(int milliseconds) const;

    EngineSession& m_engine;
    const MonitorLink& m_monitor;
    std::vector<WatchedModule> m_modules;
    Event m_end;
    std::thread m_thread;
};

#endif
