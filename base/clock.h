// clock.h - the clocks that ids, ages and sleeps are made of, and the number of workers.
#ifndef LUMETRA_BASE_CLOCK_H
#define LUMETRA_BASE_CLOCK_H

#include <chrono>
#include <cstdint>

namespace lumetra {

/// Microseconds since the Unix epoch.
inline std::uint64_t currentTimeUs() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

/// Milliseconds since the Unix epoch.
inline std::uint64_t currentTimeMs() {
    return currentTimeUs() / 1000;
}

/// Both clocks at once: frames grow old by the wall clock, which may be set; sleeps end by the steady one.
struct Moment {
    std::chrono::steady_clock::time_point steady;
    std::uint64_t wallUs = 0;  // since the Unix epoch

    std::uint64_t wallMs() const { return wallUs / 1000; }
    static Moment now() { return {std::chrono::steady_clock::now(), currentTimeUs()}; }
};

/// Workers for a machine with so many processors: one is left to the host, but two always work. An unknown
/// number (0) wraps around and is used as it stands.
inline std::uint32_t workerCount(std::uint32_t processors) {
    const std::uint32_t others = processors - 1;
    return others > 2 ? others : 2;
}

}  // namespace lumetra

#endif
