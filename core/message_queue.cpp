// message_queue.cpp - who waits for what in the queue, and who is woken by whom.
#include "core/message_queue.h"

#include <algorithm>
#include <utility>

#include "core/load_limits.h"

namespace lumetra {

namespace {

// Awake, with the lock open.
void passTimeUntil(MessageQueue::SteadyTime end, std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    while (std::chrono::steady_clock::now() < end) {
    }
    lock.lock();
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
    return m_state.waitWith([&](State& state, std::unique_lock<std::mutex>& lock) {
        for (;;) {
            if (state.closed || std::exchange(state.lookAround, false)) return false;
            const Moment now = Moment::now();
            const SteadyTime due = state.schedule.due(now);
            if (due <= now.steady) return true;
            const SteadyTime until = std::min(due, bound);
            if (until <= now.steady) return false;
            if (state.schedule.asking() > 0 && due - now.steady <= SHORTEST_SLEEP) {
                passTimeUntil(due, lock);
                continue;
            }

            // Every message ahead of a frame's costs it a turn, so while messages wait turns keep their pace.
            // At all other times only power counts.
            precision.set(state.schedule.asking() > 0);
            state.asleepUntil = until;
            state.schedule.fallsAsleep(now);
            if (until == MessageSchedule::NEVER)
                m_due.wait(lock);
            else
                m_due.wait_until(lock, until);
            state.asleepUntil = State::AWAKE;
            state.schedule.wakesUp(Moment::now());
        }
    });
}

void MessageQueue::waitForRoom() {
    m_state.waitWith([this](State& state, std::unique_lock<std::mutex>& lock) {
        ++state.waitingPushers;
        m_room.wait_for(lock, MAX_BACK_PRESSURE, [&state] { return state.closed || state.hasRoom(); });
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
    m_state.waitWith([this](State& state, std::unique_lock<std::mutex>& lock) {
        m_pushersGone.wait(lock, [&state] { return state.waitingPushers == 0; });
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
