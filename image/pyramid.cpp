// pyramid.cpp - row flip and decimation.
#include "image/pyramid.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "image/grey/grey_kernels.h"
#include "image/pixel_formats.h"

namespace lumetra {

namespace {

// `dst` may lie at or before `src`: every pixel is read before its place is written.
void decimate(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, std::size_t height) {
    const GreyRun halveRow = greyKernels().evenBytes;
    for (std::size_t y = 0; y < height; ++y, src += 4 * width, dst += width) halveRow(src, dst, width);
}

// In blocks of a fixed size, which compilers turn into vector moves.
void swapRows(std::uint8_t* a, std::uint8_t* b, std::size_t width) {
    constexpr std::size_t BLOCK = 64;
    for (; width >= BLOCK; a += BLOCK, b += BLOCK, width -= BLOCK) {
        std::uint8_t blockA[BLOCK];
        std::uint8_t blockB[BLOCK];
        std::memcpy(blockA, a, BLOCK);
        std::memcpy(blockB, b, BLOCK);
        std::memcpy(a, blockB, BLOCK);
        std::memcpy(b, blockA, BLOCK);
    }
    std::swap_ranges(a, a + width, b);
}

}  // namespace

void flipRows(std::uint8_t* picture, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 2) return;
    const auto stride = static_cast<std::size_t>(width);
    std::uint8_t* top = picture;
    std::uint8_t* bottom = picture + stride * static_cast<std::size_t>(height - 1);
    for (; top < bottom; top += stride, bottom -= stride) swapRows(top, bottom, stride);
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

void layOutLevels(IChnk& chunk) {
    unsigned char** lvl = chunk.data->lvl;
    for (int k = 1; k < PYRAMID_LEVELS; ++k)
        lvl[k] = lvl[k - 1] + pictureBytes(chunk.format, chunk.width >> (k - 1), chunk.height >> (k - 1));
}

}  // namespace lumetra
