// monitor.h - the module's one object: its settings, its figures, its newest frame and its log.
// Any thread. Pixels are looked at without a lock; m_mutex is held to record or to copy, and never while
// the log function runs. m_logMutex is held shared during a call of the log function, so that nobody can
// take the function back meanwhile.
#ifndef LUMETRA_FRAMEMONITOR_MONITOR_H
#define LUMETRA_FRAMEMONITOR_MONITOR_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "LumetraCore/IChnk.h"
#include "LumetraCore/LumetraTypes.h"
#include "plugins/FrameMonitor/statistics.h"

class Monitor {
public:
    void configure(const char* json);
    void setLog(LUMETRA_LOGFN log);
    void take(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk);

    bool report();
    void reset();
    int snapshot(const std::string& prefix);
    int count(const char* before);
    void pause(bool paused);
    std::int32_t status();

private:
    struct Settings {
        bool histogram = true;
        bool digest = false;
        std::string reportFile;
    };

    FrameRecord measure(std::uint64_t chunkId, const IChnk& chunk, bool histogram) const;
    bool log(const std::string& line);

    std::mutex m_mutex;  // guards the five below
    Settings m_settings;
    bool m_paused = false;
    Statistics m_statistics;
    std::uint64_t m_newestId = 0;
    std::shared_ptr<IChnk> m_newest;  // of the grey frames; null until there is one

    std::shared_mutex m_logMutex;  // guards m_log
    LUMETRA_LOGFN m_log = nullptr;
};

#endif
