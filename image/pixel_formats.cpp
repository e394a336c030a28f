// pixel_formats.cpp - the table of formats, and byte counts by it.
#include "image/pixel_formats.h"

#include <array>
#include <new>

namespace lumetra {

namespace {

PixelFormat colour(std::uint64_t bitsPerPixel, GreyRun GreyKernels::*toGrey,
                   DumpAs dumpAs = DumpAs::Nothing) {
    return {.bitsPerPixel = bitsPerPixel,
            .dumpAs = dumpAs,
            .becomesGrey = true,
            .toGrey = toGrey,
            .flips = true,
            .derivesWhenFlipped = true,
            .suppliedLevels = SuppliedLevels::Converted};
}

using Table = std::array<PixelFormat, LAST_FORMAT + 1>;

Table makeTable() {
    Table table;
    table[LUMETRA_IMGFORMAT_RGB] = colour(24, &GreyKernels::fromRgb, DumpAs::Ppm);
    table[LUMETRA_IMGFORMAT_YUV420] = {.bitsPerPixel = 12};
    table[LUMETRA_IMGFORMAT_BGRA] = colour(32, &GreyKernels::fromBgra);
    // The flip of packed luma is not implemented. Where it is asked for nothing is extracted, and levels are
    // derived from the packed pixels, over level 0 itself.
    table[LUMETRA_IMGFORMAT_YUYV] = {.bitsPerPixel = 16,
                                     .hasPicture = true,
                                     .becomesGrey = true,
                                     .toGrey = &GreyKernels::evenBytes,
                                     .pixelsAtOnce = 2,
                                     .derivesWhenFlipped = true};
    table[LUMETRA_IMGFORMAT_BGR] = colour(24, &GreyKernels::fromBgr);
    table[LUMETRA_IMGFORMAT_GRAY8] = {.bitsPerPixel = 8,
                                      .dumpAs = DumpAs::Pgm,
                                      .roomForLevels = true,
                                      .becomesGrey = true,
                                      .flips = true,
                                      .suppliedLevels = SuppliedLevels::KeptUnlessFlipped};
    return table;
}

}  // namespace

const PixelFormat& pixelFormat(LUMETRA_IMGFORMATTYPE format) {
    static const Table table = makeTable();
    const bool isOne = format >= LUMETRA_IMGFORMAT_NONE && format <= LAST_FORMAT;
    return table[static_cast<std::size_t>(isOne ? format : LUMETRA_IMGFORMAT_NONE)];
}

std::uint64_t pictureBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 1) return 0;
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    const std::uint64_t bits = pixelFormat(format).bitsPerPixel;
    // Halved last, so that the product never overflows 64 bits.
    return bits % 8 == 0 ? bits / 8 * pixels : (bits / 4 * pixels) >> 1;
}

std::int32_t pyramidBytes(std::uint64_t levelZeroBytes) {
    const float bytes = static_cast<float>(levelZeroBytes) * 1.34F;
    if (bytes >= 2147483648.0F) throw std::bad_alloc();
    return static_cast<std::int32_t>(bytes);
}

std::int32_t bufferBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height,
                         std::int32_t pushedBytes, bool mipMap) {
    if (pixelFormat(format).bitsPerPixel == 0) return 0;
    const std::uint64_t levelZero = pictureBytes(format, width, height);
    const std::int32_t enlarged = pyramidBytes(levelZero);
    const bool exact = pushedBytes >= 0 && static_cast<std::uint64_t>(pushedBytes) == levelZero;
    return exact && !mipMap ? pushedBytes : enlarged;
}

}  // namespace lumetra
