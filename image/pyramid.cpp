// pyramid.cpp - row flip and decimation.
#include "image/pyramid.h"

#include <algorithm>
#include <cstddef>

#include "image/pixel_formats.h"

namespace {

// `dst` may lie at or before `src`: every pixel is read before its place is written.
void decimate(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, std::size_t height) {
    for (std::size_t y = 0; y < height; ++y, src += 4 * width, dst += width)
        for (std::size_t x = 0; x < width; ++x) dst[x] = src[2 * x];
}

}  // namespace

void flipRows(std::uint8_t* picture, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 2) return;
    std::uint8_t* top = picture;
    std::uint8_t* bottom = picture + static_cast<std::size_t>(width) * static_cast<std::size_t>(height - 1);
    for (; top < bottom; top += width, bottom -= width) std::swap_ranges(top, top + width, bottom);
}

void deriveLevels(IChnk& chunk, std::uint8_t* cursor) {
    std::int32_t width = chunk.width;
    std::int32_t height = chunk.height;
    for (int k = 1; k < PYRAMID_LEVELS; ++k) {
        chunk.data->lvl[k] = cursor;
        width >>= 1;
        height >>= 1;
        if (width < 1 || height < 1) continue;
        const auto columns = static_cast<std::size_t>(width);
        const auto rows = static_cast<std::size_t>(height);
        decimate(chunk.data->lvl[k - 1], cursor, columns, rows);
        cursor += columns * rows;
    }
}
