// message_schedule.cpp - the order of messages, and the time of the next turn.
#include "core/message_schedule.h"

#include <algorithm>

namespace lumetra {

void MessageSchedule::post(MSGS message) {
    m_messages.push_back(message);
    if (message.type != MSG_RETAIN) ++m_asking;
}

MessageSchedule::SteadyTime MessageSchedule::due(Moment now) const {
    if (m_messages.empty()) return NEVER;
    const SteadyTime nextTurn = std::max(m_nextTurn, now.steady);
    if (m_asking > 0) return nextTurn;

    std::chrono::microseconds sleep = LONGEST_SLEEP_WITH_FRAMES;
    for (const MSGS& message : m_messages) {
        if (!isFresh(now.wallMs(), message.id)) return nextTurn;
        const std::uint64_t tooOldUs = 1000 * (message.id + MAX_FRESH_AGE_MS + 1);
        if (!m_clockStands) sleep = std::min(sleep, std::chrono::microseconds(tooOldUs - now.wallUs));
    }
    return std::max(nextTurn, now.steady + sleep);
}

void MessageSchedule::wakesUp(Moment now) {
    const std::chrono::microseconds wall(static_cast<std::int64_t>(now.wallUs - m_asleepSince.wallUs));
    m_clockStands = wall.count() >= 0 && 2 * wall < now.steady - m_asleepSince.steady;
}

void MessageSchedule::clear() {
    m_messages.clear();
    m_asking = 0;
}

// Carries retention messages of fresh frames from the front to the back. False if there is nothing else.
bool MessageSchedule::bringForward(Moment now) {
    const auto asks = [nowMs = now.wallMs()](const MSGS& message) {
        return message.type != MSG_RETAIN || !isFresh(nowMs, message.id);
    };
    const auto front = std::find_if(m_messages.begin(), m_messages.end(), asks);
    if (front == m_messages.end()) return false;
    std::rotate(m_messages.begin(), front, m_messages.end());
    return true;
}

void MessageSchedule::removeFront() {
    if (m_messages.front().type != MSG_RETAIN) --m_asking;
    m_messages.pop_front();
}

}  // namespace lumetra
