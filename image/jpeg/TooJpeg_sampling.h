// TooJpeg_sampling.h - 8 x 8 blocks of samples from a picture.
// A block may reach past the right or bottom edge: the last column and row repeat there, and nothing is read
// that the picture does not have.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_SAMPLING_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_SAMPLING_H

#include "image/jpeg/TooJpeg_transform.h"

namespace TooJpeg {

/// Pixels that belong to the caller: rows from the top, without padding.
struct Picture {
    const unsigned char* pixels;
    int width;
    int height;
    std::size_t channels;  // 3 (R, G, B) or 1 (grey)
};

/// The samples of one place, -128 to 127.
struct ColourBlocks {
    Block luminance, blue, red;  // Y, Cb, Cr; grey has the first alone
};

using ByteBlock = std::array<unsigned char, BLOCK_SIZE>;

struct GreyBlock {
    const unsigned char* pixels;
    std::size_t stride;  // bytes from row to row
};

/// The pixels of one place: the picture's own, or `edge`, filled, where the block reaches past its edge.
GreyBlock greyBlock(const Picture& picture, int top, int left, ByteBlock& edge);

void sampleLuminance(const Picture& picture, int top, int left, Block& luminance);

void sampleColour(const Picture& picture, int top, int left, ColourBlocks& blocks);

/// Cb and Cr of 16 x 16 pixels, each the mean of two by two.
void sampleHalvedChrominance(const Picture& picture, int top, int left, ColourBlocks& blocks);

}  // namespace TooJpeg

#endif
