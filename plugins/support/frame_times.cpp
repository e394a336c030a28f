// frame_times.cpp - the push time as the descriptor or the chunk's id has it.
#include "support/frame_times.h"

#include <algorithm>

#include "support/json_members.h"

std::int64_t pushTime(std::uint64_t chunkId, const std::string& descriptor) {
    const auto time = JsonMembers(descriptor.c_str()).integer<std::int64_t>("timestampUs");
    if (time && *time >= 0) return *time;
    return static_cast<std::int64_t>(std::min<std::uint64_t>(chunkId, INT64_MAX / 1000) * 1000);
}
