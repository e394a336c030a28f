// pyramid_chain.cpp - 2x2 box averages, one loop for each number of bytes a pixel.
#include "tools/lumetra-play/pixels/pyramid_chain.h"

namespace {

struct Halving {
    const std::uint8_t* source;
    std::size_t sourceWidth;
    std::uint8_t* target;
    std::size_t width, height;  // of the target
};

// The number of channels is known to the compiler, so that it can unroll the inner loop.
template <std::size_t CHANNELS>
void halve(const Halving& level) {
    std::uint8_t* out = level.target;
    for (std::size_t y = 0; y < level.height; ++y) {
        const std::uint8_t* upper = level.source + 2 * y * level.sourceWidth * CHANNELS;
        const std::uint8_t* lower = upper + level.sourceWidth * CHANNELS;
        for (std::size_t x = 0; x < level.width; ++x) {
            for (std::size_t c = 0; c < CHANNELS; ++c)
                out[c] = static_cast<std::uint8_t>(
                    (upper[c] + upper[c + CHANNELS] + lower[c] + lower[c + CHANNELS] + 2) >> 2);
            out += CHANNELS;
            upper += 2 * CHANNELS;
            lower += 2 * CHANNELS;
        }
    }
}

// Neighbouring chroma bytes are of different kinds: a pixel takes the one whose kind it carries.
void halvePacked(const Halving& level) {
    std::uint8_t* out = level.target;
    for (std::size_t y = 0; y < level.height; ++y) {
        const std::uint8_t* const upper = level.source + 2 * y * level.sourceWidth * 2;
        const std::uint8_t* const lower = upper + level.sourceWidth * 2;
        for (std::size_t x = 0; x < level.width; ++x) {
            const std::size_t luma = 4 * x;
            const std::size_t chroma = 2 * (2 * x + x % 2) + 1;
            *out++ = static_cast<std::uint8_t>(
                (upper[luma] + upper[luma + 2] + lower[luma] + lower[luma + 2] + 2) >> 2);
            *out++ = static_cast<std::uint8_t>((upper[chroma] + lower[chroma] + 1) >> 1);
        }
    }
}

}  // namespace

void appendPyramidChain(const Picture& picture, Bytes& frame) {
    frame.resize(picture.offset(LEVEL_COUNT));
    for (int k = 1; k < LEVEL_COUNT; ++k) {
        if (picture.pixels(k) == 0) return;
        const Halving level{frame.data() + picture.offset(k - 1),
                            static_cast<std::size_t>(picture.width >> (k - 1)),
                            frame.data() + picture.offset(k), static_cast<std::size_t>(picture.width >> k),
                            static_cast<std::size_t>(picture.height >> k)};
        switch (picture.format) {
            case LUMETRA_IMGFORMAT_BGRA:
                halve<4>(level);
                break;
            case LUMETRA_IMGFORMAT_YUYV:
                halvePacked(level);
                break;
            case LUMETRA_IMGFORMAT_GRAY8:
                halve<1>(level);
                break;
            default:
                halve<3>(level);
        }
    }
}
