// progress.h - the figures of the moment on standard error: one line that is rewritten on a terminal, else a
// line now and then. One thread.
#ifndef LUMETRA_PLAY_PROGRESS_H
#define LUMETRA_PLAY_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/lumetra-play/modules/monitor_link.h"

/// What this program, all threads, took of the machine.
struct Usage {
    double seconds = 0;           ///< real time
    double processorSeconds = 0;  ///< a second is one processor for a second
    std::int64_t wakeUps = 0;     ///< how often a thread was woken that had waited

    double processorPercent() const { return seconds > 0 ? 100 * processorSeconds / seconds : 0; }
    double wakeUpsPerSecond() const { return seconds > 0 ? static_cast<double>(wakeUps) / seconds : 0; }
};

Usage usedSoFar();  ///< `seconds` counts from an arbitrary moment
Usage operator-(const Usage& now, const Usage& before);

/// The figures in as many columns, those that matter most first; what does not fit whole is left out.
std::string progressText(std::int64_t pushed, std::int64_t dropped, const MonitorReport& monitor,
                         const Usage& usage, std::size_t columns);

class Progress {
public:
    /// @param quiet  shows nothing
    explicit Progress(bool quiet);
    ~Progress();  ///< leaves the terminal's line complete

    bool due() const;
    void show(std::int64_t pushed, std::int64_t dropped, const MonitorReport& monitor);

private:
    const bool m_quiet, m_terminal;
    Usage m_before = usedSoFar();  // when the last line was shown
    const std::chrono::milliseconds m_interval;
    std::chrono::steady_clock::time_point m_next;
};

#endif
