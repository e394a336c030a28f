// frame_times.cpp - times out of descriptors and chunk ids, and their order.
#include "support/frame_times.h"

#include <algorithm>

#include "support/json_members.h"

std::int64_t pushTime(std::uint64_t chunkId, const std::string& descriptor) {
    const auto time = JsonMembers(descriptor.c_str()).integer<std::int64_t>("timestampUs");
    if (time && *time >= 0) return *time;
    return static_cast<std::int64_t>(std::min<std::uint64_t>(chunkId, INT64_MAX / 1000) * 1000);
}

bool wasOvertaken(std::uint64_t chunkId, std::uint64_t newestId) {
    constexpr std::uint64_t CLOCK_WAS_SET_BACK_MS = 1000;
    return chunkId < newestId && newestId - chunkId < CLOCK_WAS_SET_BACK_MS;
}

std::int64_t percentile(std::span<const std::int64_t> sorted, std::size_t percent) {
    return sorted.empty() ? 0 : sorted[(sorted.size() * percent + 99) / 100 - 1];
}
