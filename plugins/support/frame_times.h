// frame_times.h - when a frame was pushed, as its pusher writes it and modules can know, which of two is
// newer, and figures of many. Any thread.
#ifndef LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H
#define LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

/// Now, as a descriptor's "timestampUs".
inline std::int64_t systemMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/// Microseconds of the system clock: by the frame's descriptor if that says so, else by the chunk's id, which
/// is the same time to the millisecond.
std::int64_t pushTime(std::uint64_t chunkId, const std::string& descriptor);

/// Whether a frame is older than the newest one that has come. Frames overtake one another by less than a
/// second; one that seems older by more is a new one after the clock was set back.
bool wasOvertaken(std::uint64_t chunkId, std::uint64_t newestId);

/// The smallest value that `percent` of all values do not exceed; 0 without values.
/// @param sorted  ascending
std::int64_t percentile(std::span<const std::int64_t> sorted, std::size_t percent);

#endif
