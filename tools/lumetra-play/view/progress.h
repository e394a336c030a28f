// progress.h - the live line on standard error: rewritten on a terminal, else a new line every second.
// One thread.
#ifndef LUMETRA_PLAY_PROGRESS_H
#define LUMETRA_PLAY_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

/// What this program, all its threads together, costs the machine.
struct ProcessLoad {
    double cpuPercent = 0;        ///< of real time; 100 is one processor
    double wakeUpsPerSecond = 0;  ///< how often a thread stopped waiting
};

class LoadMeter {
public:
    LoadMeter();
    ProcessLoad load() const;  ///< since the construction or the last restart
    void restart();

private:
    std::chrono::steady_clock::time_point m_start;
    double m_usedSeconds, m_wakeUps;
};

struct LiveFigures {
    std::int64_t pushed, told, lost;
    std::int64_t medianUs, p99Us;
    ProcessLoad load;
};

std::string progressText(const LiveFigures& figures);

/// Microseconds as "1.23 ms".
std::string millisecondsText(std::int64_t microseconds);

class Progress {
public:
    Progress();
    ~Progress();  ///< leaves the terminal's line complete
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool due() const;
    void show(const LiveFigures& figures);

private:
    bool m_terminal;
    bool m_lineOpen = false;
    std::chrono::steady_clock::time_point m_next;
};

#endif
