// side_by_side.h - how every benchmark measures: the engine's way and a peer's in turns, so that whatever
// else the machine does falls on both alike. Reported are the medians of both and of their ratio, in
// microseconds.
#ifndef LUMETRA_BENCH_SIDE_BY_SIDE_H
#define LUMETRA_BENCH_SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Work = std::function<void()>;

inline Bytes randomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

struct FrameSize {
    int width, height;  // pixels

    std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
    std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};
/// Camera sizes, and one whose rows fill no vector.
inline constexpr FrameSize FRAME_SIZES[] = {{640, 480}, {1280, 720}, {1920, 1080}, {1283, 719}};

/// The value that so large a share of the values is below.
inline double percentile(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(values.size()) * share);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

inline double median(const std::vector<double>& values) {
    return percentile(values, 0.5);
}

/// The times of one benchmark, filled round by round.
class SideBySide {
public:
    using Microseconds = std::chrono::duration<double, std::micro>;

    void round(double engine, double peer) {
        m_engine.push_back(engine);
        m_peer.push_back(peer);
        m_ratios.push_back(engine / peer);
    }

    void report(benchmark::State& state) const {
        state.counters["engine"] = median(m_engine);
        if (median(m_peer) == 0) return;
        state.counters["peer"] = median(m_peer);
        state.counters["ratio"] = median(m_ratios);
    }

    static double time(const Work& work) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return Microseconds(std::chrono::steady_clock::now() - begin).count();
    }

private:
    std::vector<double> m_engine, m_peer, m_ratios;
};

/// Registers a benchmark of work that can be repeated as it is. Without a peer only the engine is measured.
inline void compare(const std::string& name, const Work& engine, const Work& peer) {
    const auto run = [engine, peer](benchmark::State& state) {
        SideBySide times;
        bool engineFirst = true;
        for (auto _ : state) {
            const double before = peer && !engineFirst ? SideBySide::time(peer) : 0;
            const double mine = SideBySide::time(engine);
            const double after = peer && engineFirst ? SideBySide::time(peer) : 0;
            times.round(mine, before + after);
            engineFirst = !engineFirst;
        }
        times.report(state);
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond)->MinTime(0.3);
}

#endif
