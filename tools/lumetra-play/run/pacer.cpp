// pacer.cpp - the schedule.
#include "tools/lumetra-play/run/pacer.h"

Pacer::Clock::time_point Pacer::nextDue(Clock::time_point now, double seconds) {
    using namespace std::chrono_literals;
    const auto due =
        m_start + std::chrono::round<Clock::duration>(std::chrono::duration<double>(seconds - m_first));
    if (m_started && now - due <= 100ms) return due;
    m_started = true;
    m_start = now;
    m_first = seconds;
    return now;
}
