// frame_buffers.cpp - allocation and level layout of pixel buffers.
#include "image/frame_buffers.h"

#include <algorithm>

#include "image/pixel_formats.h"

void allocatePixels(IChnk& chunk, std::int32_t bytes) {
    std::int32_t capacity = bytes;
    if (chunk.format == LUMETRA_IMGFORMAT_GRAY8)
        capacity = std::max(bytes, pyramidBytes(pictureBytes(chunk.format, chunk.width, chunk.height)));
    chunk.data->lvl[0] = new unsigned char[static_cast<std::size_t>(capacity)];
    chunk.size = bytes;
}

void layOutLevels(IChnk& chunk) {
    unsigned char** lvl = chunk.data->lvl;
    for (int k = 1; k < PYRAMID_LEVELS; ++k)
        lvl[k] = lvl[k - 1] + pictureBytes(chunk.format, chunk.width >> (k - 1), chunk.height >> (k - 1));
}
