// pacer.h - when the next frame is due, on an absolute schedule of the steady clock, so that waits do not
// add up. One thread.
#ifndef LUMETRA_PLAY_PACER_H
#define LUMETRA_PLAY_PACER_H

#include <chrono>

class Pacer {
public:
    using Clock = std::chrono::steady_clock;

    explicit Pacer(double framesPerSecond) : m_framesPerSecond(framesPerSecond) {}  ///< 0: always due

    /// When the next frame is due, `now` being the time at which it could go. A source that is late by more
    /// than 0.1 s moves the schedule: the frames behind a pause should not come as one burst.
    Clock::time_point nextDue(Clock::time_point now);

private:
    double m_framesPerSecond;
    Clock::time_point m_start;
    long long m_frames = 0;  // since m_start
};

#endif
