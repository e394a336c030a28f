// monitor_link.h - the module FrameMonitor as the player sees it: commands out, JSON lines in.
// Operations: any thread. Lines arrive on any thread; one link exists at a time, since a log callback carries
// no user pointer.
#ifndef LUMETRA_PLAY_MONITOR_LINK_H
#define LUMETRA_PLAY_MONITOR_LINK_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/support/library_table.h"

/// The module's id and commands; its own header defines them.
namespace frame_monitor {
constexpr std::int32_t ID = 101;
constexpr auto REPORT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST);
constexpr auto SNAPSHOT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 2);  // text: prefix of the PGM files
constexpr auto COUNT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 3);  // text: only frames below this number
}  // namespace frame_monitor

/// The module's figures.
struct MonitorReport {
    std::int64_t distinct = 0, duplicates = 0, unread = 0;
    double framesPerSecond = 0;
    std::int64_t medianUs = 0, p99Us = 0, maxUs = 0;  ///< from push to notification
    double meanGrey = 0;                              ///< 0 to 255, over all frames that were measured
    std::int64_t newestFrame = -1;                    ///< -1 before the first grey frame
};

struct FrameDigests {
    std::int32_t frame;
    LevelDigests levels;
};

/// What a line of the module says; nothing for a line of another kind.
std::optional<MonitorReport> readReport(const std::string& line);
std::optional<FrameDigests> readDigests(const std::string& line);

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
