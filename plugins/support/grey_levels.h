// grey_levels.h - the levels of a grey chunk, found without trusting the chunk, and figures of their pixels.
// Any thread; no state. A level is borrowed from its chunk.
#ifndef LUMETRA_PLUGINS_SUPPORT_GREY_LEVELS_H
#define LUMETRA_PLUGINS_SUPPORT_GREY_LEVELS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <LumetraCore/IChnk.h>

constexpr int LEVEL_COUNT = 8;

/// Pixels of one level; either side of an empty level may be 0.
struct GreyLevel {
    const unsigned char* pixels;
    std::int32_t width, height;

    std::size_t bytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
};

/// Level k, or nothing if the chunk is not grey, has no such level, or the level would not lie inside the
/// chunk's buffer.
std::optional<GreyLevel> findLevel(const IChnk& chunk, int k);

using Histogram = std::array<std::uint32_t, 256>;

Histogram histogramOf(const GreyLevel& level);
double meanOf(const Histogram& histogram);  ///< 0 without pixels
double meanOf(const GreyLevel& level);      ///< likewise; faster than by a histogram

#endif
