// play.h - one play as the command line asks for it: the engine with its modules, a source or a camera, and
// what is said of it at the end. One thread, the host's. play.cpp brings everything up and down,
// frame_loop.cpp is what happens in between.
#ifndef LUMETRA_PLAY_PLAY_H
#define LUMETRA_PLAY_PLAY_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/modules/host_exchange.h"
#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/summary.h"

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

class Play {
public:
    /// Opens the source; the arguments must outlive the play.
    /// @throws PlayError, LibraryError for what keeps it from playing, as run() does
    Play(const Options& options, StopRequest& stop);

    /// Plays and says what became of it while the modules are still there: one that hangs at its end must not
    /// keep that back.
    ExitStatus run();

private:
    using Clock = std::chrono::steady_clock;

    void configure();
    void loadModules();
    std::string loadView();
    void playFrames();
    void makeSheet();
    ExitStatus finish();

    void playCamera(const HostExchange& exchange);
    void pushFrames();
    bool readFrame();
    bool waitForTurn();
    void push();
    std::int64_t decided();
    std::int64_t droppedSoFar();

    const Options& m_options;
    StopRequest& m_stop;
    std::optional<ScratchFolder> m_scratch;  // of the sheet
    std::unique_ptr<FrameSource> m_source;   // null with a camera
    Summary m_summary;                       // grows as the play goes on
    std::int32_t m_frames = 0;               // to push, 0: no limit
    PixelCheck m_check;
    std::unique_ptr<const LibraryTable> m_library;
    std::unique_ptr<EngineSession> m_engine;
    std::unique_ptr<MonitorLink> m_monitor;

    Pacer m_pacer;
    Bytes m_next;                   // the frame to push: level 0, then the smaller levels if they go too
    double m_nextSeconds = 0;       // its time, as the source says
    Bytes m_last;                   // the frame pushed before it, likewise
    std::int32_t m_pushed = 0;      // also the next frame's number
    std::int64_t m_lastPushMs = 0;  // system clock, not before the last frame's id
    std::deque<Clock::time_point> m_recent;  // pushes that may still be on their way
};

#endif
