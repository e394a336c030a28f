// frame_times.h - when a frame was pushed, as its pusher writes it and modules can know. Any thread.
#ifndef LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H
#define LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H

#include <chrono>
#include <cstdint>
#include <string>

/// Now, as a descriptor's "timestampUs".
inline std::int64_t systemMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/// Microseconds of the system clock: by the frame's descriptor if that says so, else by the chunk's id, which
/// is the same time to the millisecond.
std::int64_t pushTime(std::uint64_t chunkId, const std::string& descriptor);

#endif
