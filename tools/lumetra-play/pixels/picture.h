// picture.h - size and pixel format of a frame, how many bytes each of its levels has, and the smaller levels
// themselves. Any thread; no state.
#ifndef LUMETRA_PLAY_PICTURE_H
#define LUMETRA_PLAY_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LumetraCore/LumetraTypes.h"
#include "plugins/support/pixel_format.h"

using Bytes = std::vector<std::uint8_t>;

constexpr int LEVEL_COUNT = 8;

struct Picture {
    LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_RGB;
    std::int32_t width = 0, height = 0;  ///< pixels of level 0

    std::size_t pixels(int level) const;        ///< of level `level`, which is empty if a side shifts to 0
    std::size_t bytes(int level = 0) const;     ///< likewise
    std::size_t offset(int level) const;        ///< of the level in a frame with all levels behind each other
    std::string sizeText(int level = 0) const;  ///< "640x480"
    bool operator==(const Picture&) const = default;
};

const char* formatName(LUMETRA_IMGFORMATTYPE format);
const char* mediaName(LUMETRA_IMGFORMATTYPE format);                         ///< FFmpeg's
std::optional<LUMETRA_IMGFORMATTYPE> formatByName(const std::string& name);  ///< by either name

/// @throws PlayError if the picture is empty or its frame would not fit the library's 31-bit byte counts
void requireUsableSize(const Picture& picture);

/// `frame` holds level 0; levels 1 to 7 follow behind it, each half the size of the one before (odd sizes
/// round down), each byte the rounded mean of four. Of packed pixels too: nobody converts their smaller
/// levels.
void appendLevels(const Picture& picture, Bytes& frame);

#endif
