// grey_weights.h - the grey weights as vector code for x86-64 multiplies them: bytes of one 32-bit pixel.
// They do not fit the signed bytes that its byte products take, so each is split into 256 H + L with L from
// -128 to 127: 9798 = 256 x 38 + 70, 19235 = 256 x 75 + 35, 3736 = 256 x 15 - 104. Sums of two products
// stay within 16 signed bits: 255 (38 + 75) and 255 (70 + 35) are below 32768.
#ifndef LUMETRA_IMAGE_GREY_WEIGHTS_H
#define LUMETRA_IMAGE_GREY_WEIGHTS_H

struct GreyWeights {
    int high, low;
};

/// Four signed bytes, the first of them lowest in memory.
constexpr int packBytes(int b0, int b1, int b2, int b3) {
    return static_cast<int>((static_cast<unsigned>(b0) & 0xFF) | (static_cast<unsigned>(b1) & 0xFF) << 8 |
                            (static_cast<unsigned>(b2) & 0xFF) << 16 |
                            (static_cast<unsigned>(b3) & 0xFF) << 24);
}

inline constexpr GreyWeights RED_FIRST = {packBytes(38, 75, 15, 0), packBytes(70, 35, -104, 0)};
inline constexpr GreyWeights BLUE_FIRST = {packBytes(15, 75, 38, 0), packBytes(-104, 35, 70, 0)};

#endif
