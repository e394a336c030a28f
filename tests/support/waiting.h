// waiting.h - waits for a condition; a test that waits in vain fails by its ctest timeout at the latest.
#ifndef LUMETRA_TESTS_SUPPORT_WAITING_H
#define LUMETRA_TESTS_SUPPORT_WAITING_H

#include <chrono>
#include <thread>

template <class Condition>
void waitUntil(Condition condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// Repeats an action, since a busy machine may let a frame grow too old to be delivered.
template <class Action, class Condition>
void repeatUntil(Action action, Condition condition) {
    do {
        action();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (!condition());
}

#endif
