// statistics.h - what FrameMonitor knows of the frames so far; all memory is bounded.
// Not synchronised: the monitor's lock guards it. Times are microseconds of the system clock.
#ifndef LUMETRA_FRAMEMONITOR_STATISTICS_H
#define LUMETRA_FRAMEMONITOR_STATISTICS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "support/grey_levels.h"

/// One frame as it reached the module.
struct FrameRecord {
    std::uint64_t chunkId = 0;  ///< tells which of two frames is newer
    std::int32_t frameIndex = 0, width = 0, height = 0;
    std::int64_t arrivedUs = 0, latencyUs = 0;
    std::optional<double> mean;  ///< nothing if the pixels could not be looked into
    std::optional<Histogram> histogram;
};

class Statistics {
public:
    void add(const FrameRecord& frame);

    std::uint64_t distinct() const { return m_frames - m_duplicates; }
    std::uint64_t distinctBefore(std::int32_t frameIndex) const;
    bool arrivedWithin(std::int64_t microseconds, std::int64_t nowUs) const;
    std::string report(std::int64_t nowUs) const;  ///< one line of JSON

private:
    static constexpr std::size_t RING = 4096;

    bool wasSeen(std::int32_t frameIndex);
    double framesPerSecond() const;
    std::size_t arrivalsSince(std::int64_t timeUs) const;
    std::size_t recorded() const;

    std::uint64_t m_frames = 0, m_duplicates = 0, m_unread = 0;
    std::int64_t m_firstUs = 0, m_lastUs = 0;
    double m_meanSum = 0;                                  // over the frames that were looked into
    FrameRecord m_newest;                                  // of those, by chunk id; valid if there is one
    std::array<std::optional<std::int32_t>, RING> m_seen;  // by the frame index's remainder
    std::array<std::int64_t, RING> m_latencies{};          // by the frame count's remainder
    std::array<std::int64_t, RING> m_arrivals{};           // likewise
};

#endif
