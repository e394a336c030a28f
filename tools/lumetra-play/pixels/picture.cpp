// picture.cpp - sizes of frames, names of formats, and 2x2 averages.
#include "tools/lumetra-play/pixels/picture.h"

#include "tools/lumetra-play/run/play_error.h"

namespace {

struct NamedFormat {
    LUMETRA_IMGFORMATTYPE format;
    const char* name;
    const char* mediaName;  // FFmpeg's
};

constexpr NamedFormat FORMATS[] = {{LUMETRA_IMGFORMAT_RGB, "rgb", "rgb24"},
                                   {LUMETRA_IMGFORMAT_BGR, "bgr", "bgr24"},
                                   {LUMETRA_IMGFORMAT_BGRA, "bgra", "bgra"},
                                   {LUMETRA_IMGFORMAT_YUYV, "yuyv", "yuyv422"},
                                   {LUMETRA_IMGFORMAT_GRAY8, "gray8", "gray"}};

const NamedFormat& known(LUMETRA_IMGFORMATTYPE format) {
    for (const NamedFormat& candidate : FORMATS)
        if (candidate.format == format) return candidate;
    throw PlayError("a pixel format that no source produces");
}

}  // namespace

std::size_t Picture::pixels(int level) const {
    return static_cast<std::size_t>(width >> level) * static_cast<std::size_t>(height >> level);
}

std::size_t Picture::bytes(int level) const {
    return pixels(level) * bytesPerPixel(format);
}

std::size_t Picture::offset(int level) const {
    std::size_t offset = 0;
    for (int k = 0; k < level; ++k) offset += bytes(k);
    return offset;
}

std::string Picture::sizeText(int level) const {
    return std::to_string(width >> level) + "x" + std::to_string(height >> level);
}

const char* formatName(LUMETRA_IMGFORMATTYPE format) {
    return known(format).name;
}

const char* mediaName(LUMETRA_IMGFORMATTYPE format) {
    return known(format).mediaName;
}

std::optional<LUMETRA_IMGFORMATTYPE> formatByName(const std::string& name) {
    for (const NamedFormat& candidate : FORMATS)
        if (name == candidate.name || name == candidate.mediaName) return candidate.format;
    return std::nullopt;
}

void requireUsableSize(const Picture& picture) {
    constexpr std::int32_t MAX_SIDE = 32768;
    constexpr std::size_t MAX_BYTES = 1'600'000'000;  // leaves room for the levels below 2^31
    const std::string name = "a picture of " + picture.sizeText() + " pixels is ";
    if (picture.width < 1 || picture.height < 1) throw PlayError(name + "empty: use at least 1x1");
    if (picture.width > MAX_SIDE || picture.height > MAX_SIDE || picture.bytes() > MAX_BYTES)
        throw PlayError(name + "too large: scale the source down");
}

void appendLevels(const Picture& picture, Bytes& frame) {
    frame.resize(picture.offset(LEVEL_COUNT));
    const std::size_t step = bytesPerPixel(picture.format);
    std::uint8_t* out = frame.data() + picture.bytes();
    for (int level = 1; level < LEVEL_COUNT; ++level) {
        const std::size_t row = step * static_cast<std::size_t>(picture.width >> (level - 1));
        const std::uint8_t* above = frame.data() + picture.offset(level - 1);
        for (int y = 0; y < picture.height >> level; ++y, above += 2 * row) {
            const std::uint8_t* in = above;
            for (int x = 0; x < picture.width >> level; ++x, in += step)
                for (std::size_t c = 0; c < step; ++c, ++in)
                    *out++ =
                        static_cast<std::uint8_t>((in[0] + in[step] + in[row] + in[row + step] + 2) >> 2);
        }
    }
}
