// statistics.cpp - counting frames and writing the report.
#include "statistics.h"

#include <algorithm>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

constexpr double US_PER_SECOND = 1e6;

nlohmann::ordered_json describeLatencies(std::vector<std::int64_t> latencies) {
    std::sort(latencies.begin(), latencies.end());
    const std::size_t count = latencies.size();
    // The smallest value that the given share of all values does not exceed.
    const auto percentile = [&](std::size_t percent) {
        return count == 0 ? 0 : latencies[(count * percent + 99) / 100 - 1];
    };
    return {{"count", count}, {"median", percentile(50)}, {"p99", percentile(99)}, {"max", percentile(100)}};
}

nlohmann::ordered_json describeNewest(const FrameRecord& frame) {
    nlohmann::ordered_json newest = {{"frame", frame.frameIndex},
                                     {"width", frame.width},
                                     {"height", frame.height},
                                     {"mean", frame.mean.value_or(0)}};
    if (frame.histogram) newest["histogram"] = *frame.histogram;
    return newest;
}

}  // namespace

void Statistics::add(const FrameRecord& frame) {
    const std::size_t slot = m_frames % RING;
    m_latencies[slot] = frame.latencyUs;
    m_arrivals[slot] = frame.arrivedUs;
    if (m_frames == 0) m_firstUs = m_lastUs = frame.arrivedUs;
    m_firstUs = std::min(m_firstUs, frame.arrivedUs);
    m_lastUs = std::max(m_lastUs, frame.arrivedUs);
    ++m_frames;
    if (wasSeen(frame.frameIndex)) ++m_duplicates;
    if (!frame.mean) {
        ++m_unread;
        return;
    }
    m_meanSum += *frame.mean;
    if (!m_newest.mean || frame.chunkId >= m_newest.chunkId) m_newest = frame;
}

bool Statistics::wasSeen(std::int32_t frameIndex) {
    auto& seen = m_seen[static_cast<std::uint32_t>(frameIndex) % RING];
    if (seen == frameIndex) return true;
    seen = frameIndex;
    return false;
}

std::uint64_t Statistics::distinctBefore(std::int32_t frameIndex) const {
    const auto later = std::count_if(m_seen.begin(), m_seen.end(),
                                     [=](const auto& seen) { return seen && *seen >= frameIndex; });
    return distinct() - static_cast<std::uint64_t>(later);
}

bool Statistics::arrivedWithin(std::int64_t microseconds, std::int64_t nowUs) const {
    return m_frames > 0 && nowUs - m_lastUs <= microseconds;
}

std::size_t Statistics::recorded() const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(m_frames, RING));
}

std::size_t Statistics::arrivalsSince(std::int64_t timeUs) const {
    const auto end = m_arrivals.begin() + static_cast<std::ptrdiff_t>(recorded());
    return static_cast<std::size_t>(
        std::count_if(m_arrivals.begin(), end, [=](std::int64_t arrival) { return arrival > timeUs; }));
}

double Statistics::framesPerSecond() const {
    if (m_lastUs <= m_firstUs) return 0;
    return static_cast<double>(m_frames - 1) * US_PER_SECOND / static_cast<double>(m_lastUs - m_firstUs);
}

std::string Statistics::report(std::int64_t nowUs) const {
    const auto latenciesEnd = m_latencies.begin() + static_cast<std::ptrdiff_t>(recorded());
    nlohmann::ordered_json report = {
        {"frameMonitor", "report"},
        {"frames", m_frames},
        {"distinct", distinct()},
        {"duplicates", m_duplicates},
        {"unread", m_unread},
        {"fps", framesPerSecond()},
        {"recentFps", arrivalsSince(nowUs - static_cast<std::int64_t>(US_PER_SECOND))},
        {"latencyUs", describeLatencies({m_latencies.begin(), latenciesEnd})},
    };
    if (m_newest.mean) {
        report["mean"] = m_meanSum / static_cast<double>(m_frames - m_unread);
        report["newest"] = describeNewest(m_newest);
    }
    return report.dump();
}
