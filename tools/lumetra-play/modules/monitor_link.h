// monitor_link.h - the module FrameMonitor as the player sees it: commands out, JSON lines in.
// Operations: any thread. Lines arrive on any thread; one link exists at a time, since a log callback carries
// no user pointer.
#ifndef LUMETRA_PLAY_MONITOR_LINK_H
#define LUMETRA_PLAY_MONITOR_LINK_H

#include <cstdint>
#include <mutex>
#include <string>

#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/library_table.h"

/// The module's figures.
struct MonitorReport {
    std::int64_t frames = 0, distinct = 0, duplicates = 0, unread = 0;
    double framesPerSecond = 0;
    std::int64_t medianUs = 0, p99Us = 0, maxUs = 0;  ///< from push to notification
    double meanGrey = 0;                              ///< 0 to 255, over all frames
    std::int64_t newestFrame = -1;                    ///< -1 before the first grey frame
};

/// What a line of the module says; nothing for a line that is not a report.
bool readReport(const std::string& line, MonitorReport& report);
bool readDigests(const std::string& line, std::int32_t& frame, LevelDigests& digests);

class MonitorLink {
public:
    /// The module is loaded already. `check`, if not null, hears of every frame and must outlive the link.
    MonitorLink(const LibraryTable& library, PixelCheck* check);
    ~MonitorLink();
    MonitorLink(const MonitorLink&) = delete;
    MonitorLink& operator=(const MonitorLink&) = delete;

    MonitorReport report();
    std::int64_t delivered() const;                          ///< distinct frames
    std::int64_t deliveredBefore(std::int64_t frame) const;  ///< of those with a smaller number
    int snapshot(const std::string& prefix) const;           ///< files written

private:
    static void onLine(std::int32_t level, const char16_t* text);
    void take(const std::string& line);
    int command(LUMETRA_CMDTYPE number, const std::string& text) const;

    const LibraryTable& m_library;
    PixelCheck* const m_check;
    std::mutex m_mutex;  // guards m_report
    MonitorReport m_report;
};

#endif
