// sleep_precision_apple.cpp - the system has no such setting for a thread's sleeps.
#include "platform/sleep_precision.h"

namespace lumetra {

void SleepPrecision::set(bool precise) {
    m_precise = precise;
}

}  // namespace lumetra
