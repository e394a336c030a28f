// message_queue.h - the event loop's messages, first in, first out.
// Any thread posts, one thread takes. Its lock comes first: the chunk store's and the pool's may be taken
// while a message is handled, never the other way round.
#ifndef LUMETRA_CORE_MESSAGE_QUEUE_H
#define LUMETRA_CORE_MESSAGE_QUEUE_H

#include <condition_variable>
#include <vector>

#include "base/synchronized.h"
#include "core/message_schedule.h"
#include "platform/sleep_precision.h"

namespace lumetra {

class MessageQueue {
public:
    using SteadyTime = MessageSchedule::SteadyTime;

    /// Appends, and wakes the taker if it would sleep longer than this message may wait.
    /// @throws std::bad_alloc with nothing appended
    void post(MSGS message);

    /// Makes waitForTurn return false once.
    void wakeTaker();

    /// Sleeps until a message is due, the queue is closed, or `bound`. True if a message is due.
    /// @param precision  of the calling thread's sleeps
    bool waitForTurn(SteadyTime bound, SleepPrecision& precision);

    /// Hands the message whose turn it is to `handle(message, fresh)`, with the queue locked; removes it when
    /// `handle` returns, and keeps it if that throws.
    template <class Handle>
    void takeOne(Handle handle) {
        const bool pushersHaveRoom = m_state.with([&](State& state) {
            state.schedule.takeOne(Moment::now(), handle);
            return state.waitingPushers > 0 && state.hasRoom();
        });
        if (pushersHaveRoom) m_room.notify_all();
    }

    /// Back-pressure: waits while more than MAX_MESSAGES_ASKING work messages are queued, for
    /// MAX_BACK_PRESSURE at most.
    void waitForRoom();

    /// Ends every wait, now and later; messages may still be posted.
    void close();
    /// Returns once nobody waits for room any more. After close().
    void waitForPushersToLeave();

    void clear();
    std::vector<MSGS> copy() const;

private:
    struct State {
        static constexpr SteadyTime AWAKE = SteadyTime::min();

        bool hasRoom() const;

        MessageSchedule schedule;
        SteadyTime asleepUntil = AWAKE;  // the taker
        bool lookAround = false;         // wakeTaker() was called
        int waitingPushers = 0;
        bool closed = false;
    };

    Synchronized<State> m_state;
    std::condition_variable m_due;          // the taker sleeps too long, or the queue is closed
    std::condition_variable m_room;         // there is room again, or the queue is closed
    std::condition_variable m_pushersGone;  // nobody waits for room
};

}  // namespace lumetra

#endif
