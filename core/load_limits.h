// load_limits.h - the engine's limits under load, each with its reason.
#ifndef LUMETRA_CORE_LOAD_LIMITS_H
#define LUMETRA_CORE_LOAD_LIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace lumetra {

/// A frame is delivered up to this age and dropped beyond it: a consumer of live video has no use for older
/// frames, and memory stays bounded to 100 ms of them.
inline constexpr std::uint64_t MAX_FRESH_AGE_MS = 99;

/// Whether a frame pushed at `id` may still be delivered. An id in the future wraps to a great age: after the
/// clock was set back its frames are dropped at once instead of staying for as long as it was set back.
inline bool isFresh(std::uint64_t nowMs, std::uint64_t id) {
    return nowMs - id <= MAX_FRESH_AGE_MS;
}

/// Whether a frame has expired for good: one from the future may yet become fresh.
inline bool isPast(std::uint64_t nowMs, std::uint64_t id) {
    return nowMs > id && !isFresh(nowMs, id);
}

/// Minimum time between two messages: bounds the rate at which modules are notified.
inline constexpr std::chrono::microseconds TURN{100};

/// Sleep of the event loop while it keeps frames: the wall clock, which says how old they are, may be set
/// forward or back or stand still meanwhile, and is looked at this often.
inline constexpr std::chrono::milliseconds LONGEST_SLEEP_WITH_FRAMES{20};

/// A wait shorter than this is spun: to fall asleep and be woken takes longer. It happens once a frame at
/// most, for a conversion that ends just before the next turn is due.
inline constexpr std::chrono::microseconds SHORTEST_SLEEP{50};

/// Back-pressure: a pusher waits while more work messages (convert or notify) than this are queued. Two of
/// a frame's three messages are work; with the retention messages between them that makes 192 turns, 24 ms
/// at 8,000 turns a second. A frame passes the queue twice, so half of its 99 ms remain for the workers.
inline constexpr std::size_t MAX_MESSAGES_ASKING = 128;

/// A pusher waits no longer than this: by then the frames queued before its own have expired.
inline constexpr std::chrono::milliseconds MAX_BACK_PRESSURE{100};

/// Buffers wait this long for the next frame after the last one; whoever stops pushing has the memory back.
inline constexpr std::chrono::seconds BUFFER_IDLE_TIME{1};
/// From one idle buffer that is freed to the next: to free hundreds at once takes longer than a frame may
/// wait.
inline constexpr std::chrono::milliseconds BUFFER_TRIM_PACE{1};
/// Buffers that wait for as long as frames come: a frame that is converted later than most takes one, and
/// allocating it costs more than converting the frame.
inline constexpr std::size_t SPARE_BUFFERS = 2;
/// Buffers of this size and larger are mapped pages of their own: the heap may not return such memory to the
/// system after a burst.
inline constexpr std::size_t MAPPED_BUFFER_BYTES = 256 * 1024;

}  // namespace lumetra

#endif
