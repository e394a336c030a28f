// player.h - pushes a source's frames into the engine and gathers the figures. One thread, the host's.
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
    std::int32_t flags;                     ///< LUMETRA_CONVERSIONMODIFIER
    bool pyramid;                           ///< push every frame with its smaller levels
    std::optional<double> framesPerSecond;  ///< nothing: the source's own times
    bool fast;                              ///< no pace but that of delivery
    std::int32_t frames;                    ///< to push, 0: no limit
    bool quiet;                             ///< no progress
};

struct PlayResult {
    std::int64_t pushed = 0;
    std::int64_t refused = 0;  ///< of the pushed
    Usage usage;               ///< from the first push until the last frame was delivered
    MonitorReport monitor;
    Bytes lastFrame;  ///< level 0, as pushed

    std::int64_t dropped() const { return pushed - monitor.distinct; }  ///< refused ones too
};

/// Waits until as many frames were delivered, or no further one comes.
void waitUntilDelivered(const MonitorLink& monitor, std::int64_t frames, const StopRequest& stop);

class Player {
public:
    /// Everything given must outlive the player; `check` may be null.
    Player(const PlaySettings& settings, FrameSource& source, const LibraryTable& library,
           MonitorLink& monitor, PixelCheck* check, const StopRequest& stop);

    /// Until the source, a limit or the stop request ends it, and the frames have been delivered.
    /// @throws PlayError if the source fails
    PlayResult play();

private:
    using Clock = std::chrono::steady_clock;

    bool readFrame();
    bool waitForTurn();
    void push();
    std::int64_t droppedSoFar();
    void showProgress();

    const PlaySettings m_settings;
    FrameSource& m_source;
    const LibraryTable& m_library;
    MonitorLink& m_monitor;
    PixelCheck* const m_check;
    const StopRequest& m_stop;
    Pacer m_pacer;
    Progress m_progress;
    Bytes m_next;                   // the frame to push: level 0, then the smaller levels if they go too
    double m_nextSeconds = 0;       // its time, as the source says
    Bytes m_last;                   // the frame pushed before it, likewise
    std::int32_t m_pushed = 0;      // also the next frame's number
    std::int64_t m_refused = 0;     // of the pushed
    std::int64_t m_lastPushMs = 0;  // system clock, not before the last frame's id
    std::deque<std::pair<Clock::time_point, std::int32_t>> m_recent;  // pushes of the last moments
    std::int32_t m_due = 0;  // frames that must have been delivered by now
};

#endif
