// clock.h - the clocks that ids, ages and sleeps are made of.
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

}  // namespace lumetra

#endif
