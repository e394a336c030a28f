// message_queue.cpp - waiting, waking and back-pressure.
#include "core/message_queue.h"

#include <algorithm>
#include <utility>

#include "core/load_limits.h"

namespace lumetra {

namespace {

// For waits that are shorter than a sleep.
void spinUntil(MessageQueue::SteadyTime end) {
    while (std::chrono::steady_clock::now() < end) {
    }
}

}  // namespace

bool MessageQueue::State::hasRoom() const {
    return schedule.asking() <= MAX_MESSAGES_ASKING;
}

void MessageQueue::post(MSGS message) {
    const bool sleepsTooLong = m_state.with([message](State& state) {
        state.schedule.post(message);
        return state.asleepUntil != State::AWAKE && state.schedule.due(Moment::now()) < state.asleepUntil;
    });
    if (sleepsTooLong) m_due.notify_one();
}

void MessageQueue::wakeTaker() {
    m_state.with([](State& state) { state.lookAround = true; });
    m_due.notify_one();
}

bool MessageQueue::waitForTurn(SteadyTime bound, SleepPrecision& precision) {
    return m_state.waitWith([&](State& state, WaitLock& lock) {
        for (;;) {
            if (state.closed || std::exchange(state.lookAround, false)) return false;
            const Moment now = Moment::now();
            const SteadyTime due = state.schedule.due(now);
            if (due <= now.steady) return true;
            const SteadyTime until = std::min(due, bound);
            if (until <= now.steady) return false;
            if (state.schedule.asking() > 0 && due - now.steady <= SHORTEST_SLEEP) {
                lock.runUnlocked([due] { spinUntil(due); });
                continue;
            }

            // Messages ahead delay a frame by whole turns, so while work is queued sleeps are precise;
            // otherwise saving power matters more.
            precision.set(state.schedule.asking() > 0);
            state.asleepUntil = until;
            state.schedule.fallsAsleep(now);
            if (until == MessageSchedule::NEVER)
                lock.wait(m_due);
            else
                lock.waitUntil(m_due, until);
            state.asleepUntil = State::AWAKE;
            state.schedule.wakesUp(Moment::now());
        }
    });
}

void MessageQueue::waitForRoom() {
    m_state.waitWith([this](State& state, WaitLock& lock) {
        ++state.waitingPushers;
        lock.waitFor(m_room, MAX_BACK_PRESSURE, [&state] { return state.closed || state.hasRoom(); });
        --state.waitingPushers;
        if (state.waitingPushers == 0)
            m_pushersGone.notify_all();  // locked: whoever waits may destroy it then
    });
}

void MessageQueue::close() {
    m_state.with([](State& state) { state.closed = true; });
    m_due.notify_all();
    m_room.notify_all();
}

void MessageQueue::waitForPushersToLeave() {
    m_state.waitWith([this](State& state, WaitLock& lock) {
        lock.wait(m_pushersGone, [&state] { return state.waitingPushers == 0; });
    });
}

void MessageQueue::clear() {
    m_state.with([](State& state) { state.schedule.clear(); });
}

std::vector<MSGS> MessageQueue::copy() const {
    return m_state.with([](const State& state) {
        const auto& messages = state.schedule.messages();
        return std::vector<MSGS>(messages.begin(), messages.end());
    });
}

}  // namespace lumetra
