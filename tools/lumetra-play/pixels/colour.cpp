// colour.cpp - plain loops, one format each.
#include "tools/lumetra-play/pixels/colour.h"

#include <algorithm>

namespace {

struct Rgb {
    int r, g, b;
};

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

std::uint8_t luma(Rgb c) {
    return byte(16 + ((66 * c.r + 129 * c.g + 25 * c.b + 128) >> 8));
}
std::uint8_t chromaU(Rgb c) {
    return byte(128 + ((-38 * c.r - 74 * c.g + 112 * c.b + 128) >> 8));
}
std::uint8_t chromaV(Rgb c) {
    return byte(128 + ((112 * c.r - 94 * c.g - 18 * c.b + 128) >> 8));
}

Rgb pixel(const std::uint8_t* rgb) {
    return {rgb[0], rgb[1], rgb[2]};
}

void put(std::uint8_t* rgb, Rgb c) {
    rgb[0] = byte(c.r);
    rgb[1] = byte(c.g);
    rgb[2] = byte(c.b);
}

// One pixel of the frame; `x` tells which chroma sample a packed one carries.
void encode(LUMETRA_IMGFORMATTYPE format, Rgb c, std::size_t x, std::uint8_t* out) {
    switch (format) {
        case LUMETRA_IMGFORMAT_BGR:
        case LUMETRA_IMGFORMAT_BGRA:
            put(out, {c.b, c.g, c.r});
            if (format == LUMETRA_IMGFORMAT_BGRA) out[3] = 255;
            break;
        case LUMETRA_IMGFORMAT_YUYV:
            out[0] = luma(c);
            out[1] = x % 2 == 0 ? chromaU(c) : chromaV(c);
            break;
        case LUMETRA_IMGFORMAT_GRAY8:
            out[0] = byte((299 * c.r + 587 * c.g + 114 * c.b + 500) / 1000);
            break;
        default:
            put(out, c);
    }
}

Rgb fromYuv(int y, int u, int v) {
    const int scaled = 298 * (y - 16) + 128;
    return {(scaled + 409 * (v - 128)) >> 8, (scaled - 100 * (u - 128) - 208 * (v - 128)) >> 8,
            (scaled + 516 * (u - 128)) >> 8};
}

// The chroma samples of a packed pixel; the last one of an odd row has no V of its own.
Rgb decodePacked(const std::uint8_t* row, std::size_t width, std::size_t x) {
    const std::size_t first = x & ~std::size_t{1};
    const int v = first + 1 < width ? row[2 * first + 3] : 128;
    return fromYuv(row[2 * x], row[2 * first + 1], v);
}

Rgb decode(LUMETRA_IMGFORMATTYPE format, const std::uint8_t* row, std::size_t width, std::size_t x) {
    switch (format) {
        case LUMETRA_IMGFORMAT_BGR:
            return {row[3 * x + 2], row[3 * x + 1], row[3 * x]};
        case LUMETRA_IMGFORMAT_BGRA:
            return {row[4 * x + 2], row[4 * x + 1], row[4 * x]};
        case LUMETRA_IMGFORMAT_YUYV:
            return decodePacked(row, width, x);
        case LUMETRA_IMGFORMAT_GRAY8:
            return {row[x], row[x], row[x]};
        default:
            return pixel(row + 3 * x);
    }
}

}  // namespace

void fromRgb(const Picture& picture, const Bytes& rgb, Bytes& frame) {
    if (picture.format == LUMETRA_IMGFORMAT_RGB) {
        frame = rgb;
        return;
    }
    const std::size_t step = bytesPerPixel(picture.format);
    const auto width = static_cast<std::size_t>(picture.width);
    frame.resize(picture.bytes());
    std::size_t at = 0;
    for (std::int32_t y = 0; y < picture.height; ++y)
        for (std::size_t x = 0; x < width; ++x, ++at)
            encode(picture.format, pixel(rgb.data() + 3 * at), x, frame.data() + step * at);
}

Bytes toRgb(const Picture& picture, const Bytes& frame) {
    const auto width = static_cast<std::size_t>(picture.width);
    const std::size_t rowBytes = width * bytesPerPixel(picture.format);
    Bytes rgb(3 * picture.pixels(0));
    std::uint8_t* out = rgb.data();
    for (std::int32_t y = 0; y < picture.height; ++y) {
        const std::uint8_t* const row = frame.data() + static_cast<std::size_t>(y) * rowBytes;
        for (std::size_t x = 0; x < width; ++x, out += 3) put(out, decode(picture.format, row, width, x));
    }
    return rgb;
}
