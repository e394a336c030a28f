// statistics.cpp - counting frames and writing the report.
#include "statistics.h"

#include <algorithm>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/frame_times.h"

namespace {

constexpr std::chrono::seconds RECENT{1};

// Lines are put together as text: a JSON document allocates where it is destroyed, and without memory that
// ends the process.
std::string number(double value) {
    return nlohmann::json(value).dump();
}

std::string describeLatencies(std::vector<std::int64_t> latencies) {
    std::sort(latencies.begin(), latencies.end());
    return "{\"count\":" + std::to_string(latencies.size()) +
           ",\"median\":" + std::to_string(percentile(latencies, 50)) +
           ",\"p99\":" + std::to_string(percentile(latencies, 99)) +
           ",\"max\":" + std::to_string(percentile(latencies, 100)) + "}";
}

std::string describeNewest(const MeasuredFrame& frame) {
    std::string text = "{\"frame\":" + std::to_string(frame.frameIndex) +
                       ",\"width\":" + std::to_string(frame.width) +
                       ",\"height\":" + std::to_string(frame.height) + ",\"mean\":" + number(frame.mean);
    if (frame.histogram) {
        char before = '[';
        text += ",\"histogram\":";
        for (const auto pixels : *frame.histogram) {
            text += before + std::to_string(pixels);
            before = ',';
        }
        text += ']';
    }
    return text + "}";
}

}  // namespace

bool Statistics::add(const FrameRecord& frame) {
    const std::size_t slot = m_frames % RING;
    m_latencies[slot] = frame.latencyUs;
    m_arrivals[slot] = frame.arrived;
    if (m_frames == 0) m_first = m_last = frame.arrived;
    m_first = std::min(m_first, frame.arrived);
    m_last = std::max(m_last, frame.arrived);
    ++m_frames;
    if (wasSeen(frame.frameIndex)) ++m_duplicates;
    if (!frame.isReadable) {
        ++m_unread;
        return false;
    }
    if (m_newestId && wasOvertaken(frame.chunkId, *m_newestId)) return false;
    m_newestId = frame.chunkId;
    return true;
}

void Statistics::add(const MeasuredFrame& frame) {
    ++m_measured;
    m_meanSum += frame.mean;
    m_newest = frame;
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

std::size_t Statistics::recorded() const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(m_frames, RING));
}

std::ptrdiff_t Statistics::arrivalsSince(TimePoint time) const {
    const auto end = m_arrivals.begin() + static_cast<std::ptrdiff_t>(recorded());
    return std::count_if(m_arrivals.begin(), end, [=](TimePoint arrival) { return arrival > time; });
}

double Statistics::framesPerSecond() const {
    if (m_last <= m_first) return 0;
    return static_cast<double>(m_frames - 1) / std::chrono::duration<double>(m_last - m_first).count();
}

std::string Statistics::report(TimePoint now) const {
    const auto latenciesEnd = m_latencies.begin() + static_cast<std::ptrdiff_t>(recorded());
    std::string report =
        "{\"frameMonitor\":\"report\",\"frames\":" + std::to_string(m_frames) +
        ",\"distinct\":" + std::to_string(distinct()) + ",\"duplicates\":" + std::to_string(m_duplicates) +
        ",\"unread\":" + std::to_string(m_unread) + ",\"measured\":" + std::to_string(m_measured) +
        ",\"fps\":" + number(framesPerSecond()) +
        ",\"recentFps\":" + std::to_string(arrivalsSince(now - RECENT)) +
        ",\"latencyUs\":" + describeLatencies({m_latencies.begin(), latenciesEnd});
    if (m_measured > 0) {
        report += ",\"mean\":" + number(m_meanSum / static_cast<double>(m_measured));
        report += ",\"newest\":" + describeNewest(m_newest);
    }
    return report + "}";
}
