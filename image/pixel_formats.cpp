// pixel_formats.cpp - byte counts by format.
#include "image/pixel_formats.h"

#include <new>

bool hasPixels(LUMETRA_IMGFORMATTYPE format) {
    return format >= LUMETRA_IMGFORMAT_RGB && format <= LUMETRA_IMGFORMAT_GRAY8 &&
           format != LUMETRA_IMGFORMAT_RESERVED6;
}

std::uint64_t pictureBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 1) return 0;
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
        case LUMETRA_IMGFORMAT_BGR:
            return 3 * pixels;
        case LUMETRA_IMGFORMAT_YUV420:
            return (3 * pixels) >> 1;
        case LUMETRA_IMGFORMAT_BGRA:
            return 4 * pixels;
        case LUMETRA_IMGFORMAT_YUYV:
            return 2 * pixels;
        case LUMETRA_IMGFORMAT_GRAY8:
            return pixels;
        default:
            return 0;
    }
}

std::int32_t pyramidBytes(std::uint64_t levelZeroBytes) {
    const float bytes = static_cast<float>(levelZeroBytes) * 1.34F;
    if (bytes >= 2147483648.0F) throw std::bad_alloc();
    return static_cast<std::int32_t>(bytes);
}

std::int32_t bufferBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height,
                         std::int32_t pushedBytes, bool mipMap) {
    if (!hasPixels(format)) return 0;
    const std::uint64_t levelZero = pictureBytes(format, width, height);
    const std::int32_t enlarged = pyramidBytes(levelZero);
    const bool exact = pushedBytes >= 0 && static_cast<std::uint64_t>(pushedBytes) == levelZero;
    return exact && !mipMap ? pushedBytes : enlarged;
}
