// frame_sizes.h - the picture sizes that benchmarks share, and seeded bytes to fill them.
#ifndef LUMETRA_BENCH_FRAME_SIZES_H
#define LUMETRA_BENCH_FRAME_SIZES_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline Bytes randomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

/// Camera sizes, and one whose rows fill no vector.
inline void frameSizes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"width", "height"})->Unit(benchmark::kMicrosecond);
    for (const auto& [width, height] : {std::pair(640, 480), {1280, 720}, {1920, 1080}, {1283, 719}})
        bench->Args({width, height});
}

inline std::size_t pixelsOf(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0) * state.range(1));
}

#endif
