// statistics.h - what FrameMonitor knows of the frames so far; all memory is bounded.
// Not synchronised: the monitor's lock guards it. Frames arrive by a clock that nobody sets; only latencies
// depend on the system's.
#ifndef LUMETRA_FRAMEMONITOR_STATISTICS_H
#define LUMETRA_FRAMEMONITOR_STATISTICS_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "support/grey_levels.h"

/// One frame as it reached the module.
struct FrameRecord {
    std::uint64_t chunkId = 0;  ///< tells which of two frames is newer
    std::int32_t frameIndex = 0;
    std::chrono::steady_clock::time_point arrived;
    std::int64_t latencyUs = 0;
    bool isReadable = false;  ///< grey, and inside its buffer
};

/// One frame as its pixels were measured.
struct MeasuredFrame {
    std::int32_t frameIndex = 0, width = 0, height = 0;
    double mean = 0;
    std::optional<Histogram> histogram;
};

class Statistics {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// @return whether it is the newest frame that can be read
    bool add(const FrameRecord& frame);
    /// Newer than all that were measured before.
    void add(const MeasuredFrame& frame);

    std::uint64_t distinct() const { return m_frames - m_duplicates; }
    std::uint64_t distinctBefore(std::int32_t frameIndex) const;
    bool arrivedSince(TimePoint time) const { return m_frames > 0 && m_last > time; }
    std::string report(TimePoint now) const;  ///< one line of JSON

private:
    static constexpr std::size_t RING = 4096;

    bool wasSeen(std::int32_t frameIndex);
    double framesPerSecond() const;
    std::ptrdiff_t arrivalsSince(TimePoint time) const;
    std::size_t recorded() const;

    std::uint64_t m_frames = 0, m_duplicates = 0, m_unread = 0, m_measured = 0;
    TimePoint m_first, m_last;
    std::optional<std::uint64_t> m_newestId;               // of the frames that can be read
    double m_meanSum = 0;                                  // over the frames that were measured
    MeasuredFrame m_newest;                                // of those, valid if there is one
    std::array<std::optional<std::int32_t>, RING> m_seen;  // by the frame index's remainder
    std::array<std::int64_t, RING> m_latencies{};          // by the frame count's remainder
    std::array<TimePoint, RING> m_arrivals{};              // likewise
};

#endif
