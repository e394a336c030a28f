// monitor.h - the module's one object: its settings, its figures, its newest frame and its log.
// Any thread. Frames are counted, and digested if that is asked for, where they come; their grey levels are
// measured on the mailbox's worker. Pixels are looked at without a lock; m_mutex is held to record or to
// copy, and never while the log function runs.
#ifndef LUMETRA_FRAMEMONITOR_MONITOR_H
#define LUMETRA_FRAMEMONITOR_MONITOR_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <LumetraCore/FrameMailbox.h>
#include <LumetraCore/IChnk.h>

#include "statistics.h"
#include "support/host_log.h"

class Monitor {
public:
    void configure(const char* json);
    void setLog(void* function);
    void end();  ///< no thread is left, and nothing is logged afterwards
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

    void startMeasuring();
    void measure(const IChnk& chunk);

    HostLog m_log;

    std::mutex m_controlMutex;  // guards the next; before the mailbox's locks
    bool m_measuring = false;

    std::mutex m_mutex;  // guards the four below
    Settings m_settings;
    bool m_paused = false;
    Statistics m_statistics;
    std::shared_ptr<IChnk> m_newest;  // the newest that can be read; null until there is one

    lumetra::FrameMailbox m_mailbox;  // last: its worker uses the others
};

#endif
