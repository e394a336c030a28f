// frames.h - seeded bytes, chunks as intake lays them out, and the grey rule worked out another way.
#ifndef LUMETRA_TESTS_SUPPORT_FRAMES_H
#define LUMETRA_TESTS_SUPPORT_FRAMES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "LumetraCore/IChnk.h"

using Bytes = std::vector<std::uint8_t>;

inline Bytes randomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

/// A chunk whose buffer holds `bytes`; `size` may say less than there is.
inline std::shared_ptr<IChnk> chunkOf(int width, int height, LUMETRA_IMGFORMATTYPE format, const Bytes& bytes,
                                      int size = -1) {
    auto chunk = std::make_shared<IChnk>(width, height, format, 0, "");
    chunk->data->lvl[0] = new unsigned char[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), chunk->data->lvl[0]);
    chunk->size = size < 0 ? static_cast<int>(bytes.size()) : size;
    return chunk;
}

/// Levels 1 to 7 behind level 0.
inline void layOutGreyLevels(IChnk& chunk) {
    for (int k = 1; k < 8; ++k)
        chunk.data->lvl[k] =
            chunk.data->lvl[k - 1] + (chunk.width >> (k - 1)) * std::ptrdiff_t{chunk.height >> (k - 1)};
}

/// 0.299 R + 0.587 G + 0.114 B in exact 1/32768 steps, by 64-bit division instead of a shift.
inline std::uint8_t expectedGrey(std::int64_t red, std::int64_t green, std::int64_t blue) {
    const std::int64_t grey = (9798 * red + 19235 * green + 3736 * blue) / 32768;
    return static_cast<std::uint8_t>(grey > 255 ? 255 : grey);
}

#endif
