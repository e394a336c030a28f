// grey_levels.cpp - bounds of levels, and plain loops over their pixels.
#include "support/grey_levels.h"

#include <numeric>

std::optional<GreyLevel> findLevel(const IChnk& chunk, int k) {
    if (chunk.format != LUMETRA_IMGFORMAT_GRAY8 || chunk.data == nullptr) return std::nullopt;
    if (chunk.width < 1 || chunk.height < 1 || chunk.size < 0) return std::nullopt;
    const unsigned char* const buffer = chunk.data->lvl[0];
    const unsigned char* const pixels = chunk.data->lvl[k];
    if (buffer == nullptr || pixels == nullptr) return std::nullopt;

    const GreyLevel level{pixels, chunk.width >> k, chunk.height >> k};
    const auto start = reinterpret_cast<std::uintptr_t>(pixels) - reinterpret_cast<std::uintptr_t>(buffer);
    const auto size = static_cast<std::uintptr_t>(chunk.size);  // a start before the buffer wraps beyond it
    if (start > size || level.bytes() > size - start) return std::nullopt;
    return level;
}

// Four tables, since neighbouring pixels are often equal and would wait for each other's count.
Histogram histogramOf(const GreyLevel& level) {
    std::array<Histogram, 4> parts{};
    const std::size_t bytes = level.bytes();
    std::size_t done = 0;
    for (; done + 4 <= bytes; done += 4)
        for (std::size_t part = 0; part < 4; ++part) ++parts[part][level.pixels[done + part]];
    for (; done < bytes; ++done) ++parts[0][level.pixels[done]];

    Histogram sum{};
    for (const Histogram& part : parts)
        for (std::size_t grey = 0; grey < sum.size(); ++grey) sum[grey] += part[grey];
    return sum;
}

double meanOf(const Histogram& histogram) {
    std::uint64_t pixels = 0;
    std::uint64_t sum = 0;
    for (std::size_t grey = 0; grey < histogram.size(); ++grey) {
        pixels += histogram[grey];
        sum += grey * histogram[grey];
    }
    return pixels == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(pixels);
}

double meanOf(const GreyLevel& level) {
    const std::size_t bytes = level.bytes();
    if (bytes == 0) return 0;
    const auto sum = std::accumulate(level.pixels, level.pixels + bytes, std::uint64_t{0});
    return static_cast<double>(sum) / static_cast<double>(bytes);
}
