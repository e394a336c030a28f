// pixel_formats.h - how many bytes pictures of each format take, level by level. Plain functions.
#ifndef LUMETRA_IMAGE_PIXEL_FORMATS_H
#define LUMETRA_IMAGE_PIXEL_FORMATS_H

#include <cstdint>

#include "LumetraCore/LumetraTypes.h"

inline constexpr int PYRAMID_LEVELS = 8;

/// Whether intake keeps pixel bytes of the format.
bool hasPixels(LUMETRA_IMGFORMATTYPE format);

/// Bytes of a width x height picture, never wrapped; 0 for formats without pixels. A 4:2:0 picture with an
/// odd number of half bytes loses the last one.
std::uint64_t pictureBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height);

/// Bytes of the buffer that has room for all levels of a picture with `levelZeroBytes`: 1.34 times as many
/// in single precision, a margin over the 4/3 that an endless pyramid takes.
/// @throws std::bad_alloc if they do not fit 31 bits
std::int32_t pyramidBytes(std::uint64_t levelZeroBytes);

/// What a frame's buffer is said to hold.
/// @param pushedBytes  what the pusher handed over; only a frame of exactly level 0 gets no extra room
/// @throws std::bad_alloc if room for all levels would not fit 31 bits, wanted or not
std::int32_t bufferBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height,
                         std::int32_t pushedBytes, bool mipMap);

#endif
