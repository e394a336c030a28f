// grey_kernels_neon.cpp - 16 pixels at a time; built for arm64 only.
// Each weight is split into 256 H + L with bytes H and L, which multiply bytes exactly: the sum is
// (H-sum + (L-sum >> 8)) >> 7, where H sums to at most 32385 and L to at most 65535.
#if defined(__aarch64__)
#include <arm_neon.h>

#include "image/grey/grey_kernels.h"

namespace lumetra {

namespace {

constexpr std::size_t BLOCK = 16;  // pixels

inline uint8x16_t greyOf16(uint8x16_t red, uint8x16_t green, uint8x16_t blue) {
    const uint8x16_t highRed = vdupq_n_u8(38), highGreen = vdupq_n_u8(75), highBlue = vdupq_n_u8(14);
    const uint8x16_t lowRed = vdupq_n_u8(70), lowGreen = vdupq_n_u8(35), lowBlue = vdupq_n_u8(152);
    uint16x8_t high = vmull_u8(vget_low_u8(red), vget_low_u8(highRed));
    uint16x8_t low = vmull_u8(vget_low_u8(red), vget_low_u8(lowRed));
    high = vmlal_u8(high, vget_low_u8(green), vget_low_u8(highGreen));
    low = vmlal_u8(low, vget_low_u8(green), vget_low_u8(lowGreen));
    high = vmlal_u8(high, vget_low_u8(blue), vget_low_u8(highBlue));
    low = vmlal_u8(low, vget_low_u8(blue), vget_low_u8(lowBlue));
    const uint8x8_t first = vshrn_n_u16(vsraq_n_u16(high, low, 8), 7);

    high = vmull_high_u8(red, highRed);
    low = vmull_high_u8(red, lowRed);
    high = vmlal_high_u8(high, green, highGreen);
    low = vmlal_high_u8(low, green, lowGreen);
    high = vmlal_high_u8(high, blue, highBlue);
    low = vmlal_high_u8(low, blue, lowBlue);
    return vshrn_high_n_u16(first, vsraq_n_u16(high, low, 8), 7);
}

void greyFromRgb(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const uint8x16x3_t block = vld3q_u8(src + 3 * done);
        vst1q_u8(dst + done, greyOf16(block.val[0], block.val[1], block.val[2]));
    }
    scalarGreyKernels().fromRgb(src + 3 * done, dst + done, pixels - done);
}

void greyFromBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const uint8x16x3_t block = vld3q_u8(src + 3 * done);
        vst1q_u8(dst + done, greyOf16(block.val[2], block.val[1], block.val[0]));
    }
    scalarGreyKernels().fromBgr(src + 3 * done, dst + done, pixels - done);
}

void greyFromBgra(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const uint8x16x4_t block = vld4q_u8(src + 4 * done);
        vst1q_u8(dst + done, greyOf16(block.val[2], block.val[1], block.val[0]));
    }
    scalarGreyKernels().fromBgra(src + 4 * done, dst + done, pixels - done);
}

void evenBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) vst1q_u8(dst + done, vld2q_u8(src + 2 * done).val[0]);
    scalarGreyKernels().evenBytes(src + 2 * done, dst + done, pixels - done);
}

}  // namespace

const GreyKernels& neonGreyKernels() {
    static constexpr GreyKernels kernels = {"neon", greyFromRgb, greyFromBgr, greyFromBgra, evenBytes};
    return kernels;
}

}  // namespace lumetra

#endif
