// TooJpeg_sampling.cpp - colour conversion as JFIF has it, around 0 instead of 128.
// As in the transform, a product has a name of its own before it takes part in a sum.
#include "image/jpeg/TooJpeg_exact.h"
// First: it switches off fused operations.
#include "image/jpeg/TooJpeg_sampling.h"

#include <algorithm>

namespace TooJpeg {

namespace {

struct Colour {
    float red, green, blue;
};

const unsigned char* pixelAt(const Picture& picture, int row, int column) {
    const auto y = static_cast<std::size_t>(std::min(row, picture.height - 1));
    const auto x = static_cast<std::size_t>(std::min(column, picture.width - 1));
    return picture.pixels + (y * static_cast<std::size_t>(picture.width) + x) * picture.channels;
}

Colour colourAt(const Picture& picture, int row, int column) {
    const unsigned char* pixel = pixelAt(picture, row, column);
    return {static_cast<float>(pixel[0]), static_cast<float>(pixel[1]), static_cast<float>(pixel[2])};
}

float luminanceOf(const Colour& colour) {
    const float red = 0.299f * colour.red;
    const float green = 0.587f * colour.green;
    const float blue = 0.114f * colour.blue;
    return red + green + blue - 128.0f;
}

float blueDifferenceOf(const Colour& colour) {
    const float red = -0.16874f * colour.red;
    const float green = 0.33126f * colour.green;
    const float blue = 0.5f * colour.blue;
    return red - green + blue;
}

float redDifferenceOf(const Colour& colour) {
    const float red = 0.5f * colour.red;
    const float green = 0.41869f * colour.green;
    const float blue = 0.08131f * colour.blue;
    return red - green - blue;
}

// The four together: whole numbers up to 1020, so their order does not matter.
Colour sumOfFour(const Picture& picture, int row, int column) {
    int red = 0, green = 0, blue = 0;
    for (int i = 0; i < 4; ++i) {
        const unsigned char* pixel = pixelAt(picture, row + i / 2, column + i % 2);
        red += pixel[0];
        green += pixel[1];
        blue += pixel[2];
    }
    return {static_cast<float>(red), static_cast<float>(green), static_cast<float>(blue)};
}

std::size_t placeOf(int y, int x) {
    return static_cast<std::size_t>(y * BLOCK_SIDE + x);
}

}  // namespace

GreyBlock greyBlock(const Picture& picture, int top, int left, ByteBlock& edge) {
    if (top + BLOCK_SIDE <= picture.height && left + BLOCK_SIDE <= picture.width)
        return {pixelAt(picture, top, left), static_cast<std::size_t>(picture.width)};
    for (int y = 0; y < BLOCK_SIDE; ++y)
        for (int x = 0; x < BLOCK_SIDE; ++x) edge[placeOf(y, x)] = *pixelAt(picture, top + y, left + x);
    return {edge.data(), BLOCK_SIDE};
}

void sampleLuminance(const Picture& picture, int top, int left, Block& luminance) {
    for (int y = 0; y < BLOCK_SIDE; ++y)
        for (int x = 0; x < BLOCK_SIDE; ++x)
            luminance[placeOf(y, x)] = luminanceOf(colourAt(picture, top + y, left + x));
}

void sampleColour(const Picture& picture, int top, int left, ColourBlocks& blocks) {
    for (int y = 0; y < BLOCK_SIDE; ++y) {
        for (int x = 0; x < BLOCK_SIDE; ++x) {
            const Colour colour = colourAt(picture, top + y, left + x);
            blocks.luminance[placeOf(y, x)] = luminanceOf(colour);
            blocks.blue[placeOf(y, x)] = blueDifferenceOf(colour);
            blocks.red[placeOf(y, x)] = redDifferenceOf(colour);
        }
    }
}

// From the bottom row up: luminance was sampled just before, and has left the lower rows nearest in cache.
void sampleHalvedChrominance(const Picture& picture, int top, int left, ColourBlocks& blocks) {
    for (int y = BLOCK_SIDE - 1; y >= 0; --y) {
        for (int x = 0; x < BLOCK_SIDE; ++x) {
            const Colour sum = sumOfFour(picture, top + 2 * y, left + 2 * x);
            blocks.blue[placeOf(y, x)] = blueDifferenceOf(sum) * 0.25f;
            blocks.red[placeOf(y, x)] = redDifferenceOf(sum) * 0.25f;
        }
    }
}

}  // namespace TooJpeg
