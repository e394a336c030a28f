// pacer.cpp - the schedule.
#include "tools/lumetra-play/run/pacer.h"

Pacer::Clock::time_point Pacer::nextDue(Clock::time_point now) {
    using namespace std::chrono_literals;
    if (m_framesPerSecond <= 0) return now;
    const auto period = std::chrono::duration<double>(1 / m_framesPerSecond);
    const auto due = m_start + std::chrono::duration_cast<Clock::duration>(period * m_frames);
    if (m_frames > 0 && now - due <= 100ms) {
        ++m_frames;
        return due;
    }
    m_start = now;
    m_frames = 1;
    return now;
}
