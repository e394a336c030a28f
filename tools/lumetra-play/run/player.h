// player.h - plays a source through the engine and gathers the figures. One thread, the host's.
#ifndef LUMETRA_PLAY_PLAYER_H
#define LUMETRA_PLAY_PLAYER_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/pacer.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/progress.h"

struct PlaySettings {
    std::int32_t flags;      ///< LUMETRA_CONVERSIONMODIFIER
    bool pyramid;            ///< push every frame with its smaller levels
    double framesPerSecond;  ///< 0: as fast as the frames come
    std::int32_t frames;     ///< to push, 0: no limit
    bool loop;
};

struct PlayResult {
    std::int64_t pushed = 0, lost = 0;
    double seconds = 0;  ///< from the first push until the last frame had been told
    ProcessLoad load;    ///< meanwhile
    MonitorReport monitor;
    Bytes lastFrame;  ///< level 0, as pushed
};

class Player {
public:
    /// Everything given must outlive the player; `check` may be null.
    Player(const PlaySettings& settings, FrameSource& source, const LibraryTable& library,
           MonitorLink& monitor, PixelCheck* check, const StopRequest& stop);

    /// Until the source, a limit or the stop request ends it, and the modules have been told.
    /// @throws PlayError if the source fails
    PlayResult play();

private:
    using Clock = std::chrono::steady_clock;

    bool readFrame();
    bool waitForTurn();
    void push();
    void waitUntilTold();
    std::int64_t lostSoFar();
    void showProgress();

    const PlaySettings m_settings;
    FrameSource& m_source;
    const LibraryTable& m_library;
    MonitorLink& m_monitor;
    PixelCheck* const m_check;
    const StopRequest& m_stop;
    Pacer m_pacer;
    Progress m_progress;
    LoadMeter m_liveLoad;
    Bytes m_next;                   // the frame to push: level 0, then the smaller levels if they go too
    Bytes m_last;                   // the frame pushed before it, likewise
    std::int32_t m_pushed = 0;      // also the next frame's number
    std::int64_t m_lastPushMs = 0;  // system clock, not before the last frame's id
    std::deque<std::pair<Clock::time_point, std::int32_t>> m_recent;  // pushes of the last moments
    std::int32_t m_due = 0;  // frames that must have been told by now
};

#endif
