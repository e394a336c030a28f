// sleep_precision_linux.cpp - by the timer slack of the thread, 50 us unless something else was set.
#include <sys/prctl.h>

#include "platform/sleep_precision.h"

namespace lumetra {

void SleepPrecision::set(bool precise) {
    constexpr unsigned long LEAST = 1;     // ns
    constexpr unsigned long STANDARD = 0;  // back to what the thread began with
    if (precise == m_precise) return;
    m_precise = precise;
    prctl(PR_SET_TIMERSLACK, precise ? LEAST : STANDARD, 0, 0, 0);
}

}  // namespace lumetra
