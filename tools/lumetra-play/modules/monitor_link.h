// monitor_link.h - the module FrameMonitor as the player sees it: commands out, JSON lines in.
// Operations: any thread. Lines arrive on any thread; one link exists at a time, since a log callback carries
// no user pointer.
#ifndef LUMETRA_PLAY_MONITOR_LINK_H
#define LUMETRA_PLAY_MONITOR_LINK_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "plugins/FrameMonitor/FrameMonitor.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/support/library_table.h"
#include "tools/support/text.h"

/// The module's figures.
struct MonitorReport {
    std::int64_t distinct = 0, duplicates = 0, unread = 0;
    double framesPerSecond = 0;
    std::int64_t medianUs = 0, p99Us = 0, maxUs = 0;  ///< from push to notification
    double meanGrey = 0;                              ///< 0 to 255, over all frames that were measured
    std::int64_t newestFrame = -1;                    ///< -1 before the first grey frame

    double medianMs() const { return static_cast<double>(medianUs) / 1000; }
    double p99Ms() const { return static_cast<double>(p99Us) / 1000; }
};

struct FrameDigests {
    std::int32_t frame;
    LevelDigests levels;
};

/// What a line of the module says, parsed; nothing for a line of another kind.
std::optional<MonitorReport> readReport(const Json& line);
std::optional<FrameDigests> readDigests(const Json& line);

class MonitorLink {
public:
    /// @param check  null, or hears of every frame whose digests the module logs; must outlive the link
    MonitorLink(const LibraryTable& library, PixelCheck* check);
    ~MonitorLink();

    MonitorReport report();
    /// Distinct frames. @param before  if given, of those with a smaller number
    std::int64_t delivered(std::optional<std::int64_t> before = {}) const;
    int snapshot(const std::string& prefix) const;  ///< files written

private:
    static void onLine(std::int32_t level, const char16_t* text);
    void take(const Json& line);
    int command(std::int32_t number, const std::string& text) const;

    static inline std::atomic<MonitorLink*> s_current = nullptr;
    const LibraryTable& m_library;
    PixelCheck* const m_check;
    std::mutex m_mutex;  // guards m_report
    MonitorReport m_report;
};

#endif
