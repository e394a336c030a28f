// frame_times.h - when a frame was pushed, as its pusher writes it and modules can know. Any thread; no
// state.
#ifndef LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H
#define LUMETRA_PLUGINS_SUPPORT_FRAME_TIMES_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

#include "core/json_reading.h"

/// Now, as a descriptor's "timestampUs".
inline std::int64_t systemMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/// Microseconds of the system clock: by the frame's descriptor if that says so, else by the chunk's id, which
/// is the same time to the millisecond.
inline std::int64_t pushTime(std::uint64_t chunkId, const std::string& descriptor) {
    const JsonDocument document = parseJson(descriptor.c_str());
    const JsonValue* time = findMember(&document, "timestampUs");
    if (time != nullptr && time->IsInt64() && time->GetInt64() >= 0) return time->GetInt64();
    return static_cast<std::int64_t>(std::min<std::uint64_t>(chunkId, INT64_MAX / 1000) * 1000);
}

#endif
