// pacer.h - when the next frame is due, on an absolute schedule of the steady clock, so that waits do not
// add up. One thread.
#ifndef LUMETRA_PLAY_PACER_H
#define LUMETRA_PLAY_PACER_H

#include <chrono>

class Pacer {
public:
    using Clock = std::chrono::steady_clock;

    /// When the frame of the time `seconds` is due, `now` being when it could go. A source that is late by
    /// more than 0.1 s moves the schedule: the frames behind a pause should not come as one burst.
    Clock::time_point nextDue(Clock::time_point now, double seconds);

private:
    bool m_started = false;
    Clock::time_point m_start;  // when the time `m_first` was due
    double m_first = 0;
};

#endif
