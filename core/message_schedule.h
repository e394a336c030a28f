// message_schedule.h - which message the event loop handles next, and when.
// No thread, no lock and no clock of its own: its caller provides all three, so tests choose the time.
#ifndef LUMETRA_CORE_MESSAGE_SCHEDULE_H
#define LUMETRA_CORE_MESSAGE_SCHEDULE_H

#include <cstddef>
#include <cstdint>
#include <deque>

#include "base/clock.h"
#include "core/load_limits.h"

namespace lumetra {

/// Kinds of messages. Unknown ones take a turn and do nothing.
enum : std::int32_t { MSG_NOTIFY = 1, MSG_CONVERT = 2, MSG_RETAIN = 3 };

struct MSGS {
    std::int32_t type;
    std::uint64_t id;  // of the chunk: its push time in milliseconds since the Unix epoch
};

/// First in, first out. A retention message (MSG_RETAIN) of a fresh frame is carried to the back, which costs
/// no turn; it takes one when its frame has expired. All other messages are work, done at the next turn.
class MessageSchedule {
public:
    using SteadyTime = std::chrono::steady_clock::time_point;
    static constexpr SteadyTime NEVER = SteadyTime::max();

    /// @throws std::bad_alloc with nothing appended
    void post(MSGS message);

    /// Gives the message whose turn it is to `handle(message, fresh)`. Removes it afterwards, or keeps it in
    /// front if `handle` throws. The next turn is due TURN later in both cases.
    template <class Handle>
    void takeOne(Moment now, Handle handle) {
        if (!bringForward(now)) return;
        m_nextTurn = now.steady + TURN;
        const MSGS message = m_messages.front();
        handle(message, isFresh(now.wallMs(), message.id));
        removeFront();
    }

    /// When the next turn is due if nothing else is posted, or the wall clock has to be looked at again; not
    /// before `now`. NEVER if nothing waits.
    SteadyTime due(Moment now) const;

    /// Called as the caller falls asleep and wakes up: a wall clock that stood still meanwhile cannot
    /// tell when a frame will expire.
    void fallsAsleep(Moment now) { m_asleepSince = now; }
    void wakesUp(Moment now);

    /// How many work messages are queued: all but MSG_RETAIN.
    std::size_t asking() const { return m_asking; }

    const std::deque<MSGS>& messages() const { return m_messages; }
    void clear();

private:
    bool bringForward(Moment now);
    void removeFront();

    std::deque<MSGS> m_messages;  // posted at the back, handled at the front
    std::size_t m_asking = 0;     // of them, all but MSG_RETAIN
    SteadyTime m_nextTurn;
    Moment m_asleepSince;
    bool m_clockStands = false;
};

}  // namespace lumetra

#endif
