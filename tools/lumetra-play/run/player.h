// player.h - pushes a source's frames into the engine and gathers the figures. One thread, the host's.
#ifndef LUMETRA_PLAY_PLAYER_H
#define LUMETRA_PLAY_PLAYER_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/progress.h"
#include "tools/support/library_table.h"

/// What the options leave to the source.
struct PlaySettings {
    std::int32_t flags = 0;   ///< LUMETRA_CONVERSIONMODIFIER
    bool pyramid = false;     ///< push every frame with its smaller levels
    std::int32_t frames = 0;  ///< to push, 0: no limit
};

struct PlayResult {
    std::int64_t pushed = 0;
    std::int64_t refused = 0;  ///< of the pushed
    Usage usage;               ///< from the first push until the last frame was delivered
    MonitorReport monitor;
    Bytes lastFrame;  ///< level 0, as pushed

    std::int64_t dropped() const { return pushed - monitor.distinct; }  ///< refused ones too
};

/// When the next frame is due, on an absolute schedule of the steady clock, so that waits do not add up.
class Pacer {
public:
    using Clock = std::chrono::steady_clock;

    /// When the frame of the time `seconds` is due, `now` being when it could go. A source that is late by
    /// more than 0.1 s moves the schedule: the frames behind a pause should not come as one burst.
    Clock::time_point nextDue(Clock::time_point now, double seconds);

private:
    std::optional<Clock::time_point> m_start;  // when the time `m_first` was due
    double m_first = 0;
};

/// Waits until as many frames were delivered, or no further one comes. What was used until the last delivery.
Usage waitUntilDelivered(const MonitorLink& monitor, std::int64_t frames, const StopRequest& stop,
                         const ProcessMeter& meter);

class Player {
public:
    /// Everything given must outlive the player; `check` may be null.
    Player(const Options& options, const PlaySettings& settings, FrameSource& source,
           const LibraryTable& library, MonitorLink& monitor, PixelCheck* check, const StopRequest& stop);

    /// Until the source, a limit or the stop request ends it, and the frames have been delivered.
    PlayResult play();

private:
    using Clock = std::chrono::steady_clock;

    bool readFrame();
    bool waitForTurn();
    void push();
    std::int64_t decided();
    std::int64_t droppedSoFar();

    const Options& m_options;
    const PlaySettings& m_settings;
    FrameSource& m_source;
    const LibraryTable& m_library;
    MonitorLink& m_monitor;
    PixelCheck* const m_check;
    const StopRequest& m_stop;
    Pacer m_pacer;
    Bytes m_next;                   // the frame to push: level 0, then the smaller levels if they go too
    double m_nextSeconds = 0;       // its time, as the source says
    Bytes m_last;                   // the frame pushed before it, likewise
    std::int32_t m_pushed = 0;      // also the next frame's number
    std::int64_t m_refused = 0;     // of the pushed
    std::int64_t m_lastPushMs = 0;  // system clock, not before the last frame's id
    std::deque<Clock::time_point> m_recent;  // pushes that may still be on their way
};

#endif
