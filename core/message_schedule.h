// message_schedule.h - which message the event loop handles next, and when.
// No thread, no lock and no clock of its own: its caller brings all three, a test its own time.
#ifndef LUMETRA_CORE_MESSAGE_SCHEDULE_H
#define LUMETRA_CORE_MESSAGE_SCHEDULE_H

#include <cstddef>
#include <cstdint>
#include <deque>

#include "base/clock.h"
#include "core/load_limits.h"

namespace lumetra {

/// What a message asks for. Unknown kinds take their turn and do nothing.
enum : std::int32_t { MSG_NOTIFY = 1, MSG_CONVERT = 2, MSG_RETAIN = 3 };

struct MSGS {
    std::int32_t type;
    std::uint64_t id;  // of the chunk: its push time in milliseconds since the Unix epoch
};

/// First in, first out. A message that keeps a fresh frame (MSG_RETAIN) asks for nothing: it is carried to
/// the back until its frame grows too old, which costs no time, and takes a turn then.
class MessageSchedule {
public:
    using SteadyTime = std::chrono::steady_clock::time_point;
    static constexpr SteadyTime NEVER = SteadyTime::max();

    /// @throws std::bad_alloc with nothing appended
    void post(MSGS message);

    /// Gives the message whose turn it is to `handle(message, fresh)`. It goes when it has been handled, and
    /// stays where `handle` throws. Either way the next turn is a whole one later.
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

    /// Called as the caller falls asleep and wakes up: a wall clock that stood still meanwhile says nothing
    /// of when a frame will be too old.
    void fallsAsleep(Moment now) { m_asleepSince = now; }
    void wakesUp(Moment now);

    /// Messages that ask for something.
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
