// TooJpeg_transform_neon.cpp - the transform with four values at a time; built for arm64 only.
// The same operations on the same values in the same order as the plain form, so the same coefficients; the
// compiler is told not to fuse any. Bytes and 16-bit values change places by table look-ups.
#if defined(__aarch64__)
#include "image/jpeg/TooJpeg_exact.h"
// First: it switches off fused operations.
#include <arm_neon.h>

#include "image/jpeg/TooJpeg_transform.h"

namespace TooJpeg {

namespace {

constexpr std::size_t HALF = BLOCK_SIDE / 2;

using ByteIndices = std::array<std::uint8_t, 16>;

// Columns 2 pair and 2 pair + 1 of 8 x 8 bytes.
constexpr ByteIndices columnPair(std::size_t pair) {
    ByteIndices from{};
    for (std::size_t i = 0; i < from.size(); ++i)
        from[i] = static_cast<std::uint8_t>(i % BLOCK_SIDE * BLOCK_SIDE + 2 * pair + i / BLOCK_SIDE);
    return from;
}

// Byte indices from one half of a block to one row of zigzag order; 255 for values of the other half.
constexpr ByteIndices zigzagRow(std::size_t row, std::size_t half) {
    ByteIndices from{};
    for (std::size_t i = 0; i < from.size(); ++i) {
        const std::size_t place = ZIGZAG[row * BLOCK_SIDE + i / 2];
        from[i] = place / 32 == half ? static_cast<std::uint8_t>(place % 32 * 2 + i % 2) : std::uint8_t{255};
    }
    return from;
}

constexpr auto columnPairs() {
    std::array<ByteIndices, HALF> table{};
    for (std::size_t pair = 0; pair < HALF; ++pair) table[pair] = columnPair(pair);
    return table;
}

constexpr auto zigzagRows() {
    std::array<std::array<ByteIndices, 2>, BLOCK_SIDE> table{};
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row) table[row] = {zigzagRow(row, 0), zigzagRow(row, 1)};
    return table;
}

constexpr auto COLUMN_PAIRS = columnPairs();
constexpr auto ZIGZAG_ROWS = zigzagRows();

// Half a block: four values of each row.
struct Rows {
    float32x4_t row[BLOCK_SIDE];
};

// One pass down four columns.
inline void transformColumns(Rows& rows) {
    float32x4_t* const v = rows.row;
    const float32x4_t sum07 = vaddq_f32(v[0], v[7]), diff07 = vsubq_f32(v[0], v[7]);
    const float32x4_t sum16 = vaddq_f32(v[1], v[6]), diff16 = vsubq_f32(v[1], v[6]);
    const float32x4_t sum25 = vaddq_f32(v[2], v[5]), diff25 = vsubq_f32(v[2], v[5]);
    const float32x4_t sum34 = vaddq_f32(v[3], v[4]), diff34 = vsubq_f32(v[3], v[4]);

    const float32x4_t outerSum = vaddq_f32(sum07, sum34), outerDifference = vsubq_f32(sum07, sum34);
    const float32x4_t innerSum = vaddq_f32(sum16, sum25), innerDifference = vsubq_f32(sum16, sum25);
    const float32x4_t rotated = vmulq_n_f32(vaddq_f32(innerDifference, outerDifference), 0.707106781f);
    v[0] = vaddq_f32(outerSum, innerSum);
    v[4] = vsubq_f32(outerSum, innerSum);
    v[2] = vaddq_f32(outerDifference, rotated);
    v[6] = vsubq_f32(outerDifference, rotated);

    const float32x4_t low = vaddq_f32(diff34, diff25), middle = vaddq_f32(diff25, diff16);
    const float32x4_t high = vaddq_f32(diff16, diff07);
    const float32x4_t shared = vmulq_n_f32(vsubq_f32(low, high), 0.382683433f);
    const float32x4_t lowRotated = vaddq_f32(vmulq_n_f32(low, 0.541196100f), shared);
    const float32x4_t highRotated = vaddq_f32(vmulq_n_f32(high, 1.306562965f), shared);
    const float32x4_t middleRotated = vmulq_n_f32(middle, 0.707106781f);
    const float32x4_t plus = vaddq_f32(diff07, middleRotated), minus = vsubq_f32(diff07, middleRotated);
    v[5] = vaddq_f32(minus, lowRotated);
    v[3] = vsubq_f32(minus, lowRotated);
    v[1] = vaddq_f32(plus, highRotated);
    v[7] = vsubq_f32(plus, highRotated);
}

inline void transposeQuarter(const float32x4_t* from, float32x4_t* to) {
    const float64x2_t even02 = vreinterpretq_f64_f32(vtrn1q_f32(from[0], from[1]));
    const float64x2_t odd02 = vreinterpretq_f64_f32(vtrn2q_f32(from[0], from[1]));
    const float64x2_t even13 = vreinterpretq_f64_f32(vtrn1q_f32(from[2], from[3]));
    const float64x2_t odd13 = vreinterpretq_f64_f32(vtrn2q_f32(from[2], from[3]));
    to[0] = vreinterpretq_f32_f64(vtrn1q_f64(even02, even13));
    to[1] = vreinterpretq_f32_f64(vtrn1q_f64(odd02, odd13));
    to[2] = vreinterpretq_f32_f64(vtrn2q_f64(even02, even13));
    to[3] = vreinterpretq_f32_f64(vtrn2q_f64(odd02, odd13));
}

inline void transpose(const Rows& left, const Rows& right, Rows& newLeft, Rows& newRight) {
    transposeQuarter(left.row, newLeft.row);
    transposeQuarter(right.row, newLeft.row + HALF);
    transposeQuarter(left.row + HALF, newRight.row);
    transposeQuarter(right.row + HALF, newRight.row + HALF);
}

// Times the divisors, then to the nearest whole number, halves away from 0: half of the value's own sign is
// added and the rest cut off.
inline int16x4_t quantise(float32x4_t values, const float* divisors) {
    const float32x4_t quotients = vmulq_f32(values, vld1q_f32(divisors));
    const float32x4_t halves = vbslq_f32(vdupq_n_u32(0x80000000u), quotients, vdupq_n_f32(0.5f));
    return vmovn_s32(vcvtq_s32_f32(vaddq_f32(quotients, halves)));
}

inline std::uint64_t nonZeroBits(int16x8_t values) {
    constexpr std::uint8_t BITS[] = {1, 2, 4, 8, 16, 32, 64, 128};
    return vaddv_u8(vand_u8(vmovn_u16(vtstq_s16(values, values)), vld1_u8(BITS)));
}

inline void finish(const uint8x16x4_t& upper, const uint8x16x4_t& lower, QuantisedBlock& out) {
    out.nonZero = 0;
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row) {
        const uint8x16_t fromUpper = vqtbl4q_u8(upper, vld1q_u8(ZIGZAG_ROWS[row][0].data()));
        const int16x8_t values =
            vreinterpretq_s16_u8(vqtbx4q_u8(fromUpper, lower, vld1q_u8(ZIGZAG_ROWS[row][1].data())));
        vst1q_s16(out.values.data() + row * BLOCK_SIDE, values);
        out.nonZero |= nonZeroBits(values) << (row * BLOCK_SIDE);
    }
}

// Of the block with rows and columns exchanged, in its left and right halves.
inline void transformAndQuantise(Rows& left, Rows& right, const Block& divisors, QuantisedBlock& out) {
    transformColumns(left);
    transformColumns(right);
    Rows rowsLeft, rowsRight;
    transpose(left, right, rowsLeft, rowsRight);
    transformColumns(rowsLeft);
    transformColumns(rowsRight);

    uint8x16x4_t halves[2];
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row) {
        const float* const divisor = divisors.data() + row * BLOCK_SIDE;
        halves[row / HALF].val[row % HALF] = vreinterpretq_u8_s16(
            vcombine_s16(quantise(rowsLeft.row[row], divisor), quantise(rowsRight.row[row], divisor + HALF)));
    }
    finish(halves[0], halves[1], out);
}

void ofSamples(Block& samples, const Block& divisors, QuantisedBlock& quantised) {
    Rows left, right, columnsLeft, columnsRight;
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row) {
        left.row[row] = vld1q_f32(samples.data() + row * BLOCK_SIDE);
        right.row[row] = vld1q_f32(samples.data() + row * BLOCK_SIDE + HALF);
    }
    transpose(left, right, columnsLeft, columnsRight);
    transformAndQuantise(columnsLeft, columnsRight, divisors, quantised);
}

inline float32x4_t aroundZero(uint16x4_t bytes) {
    return vsubq_f32(vcvtq_f32_u32(vmovl_u16(bytes)), vdupq_n_f32(128.0f));
}

void ofGrey(const unsigned char* pixels, std::size_t stride, const Block& divisors,
            QuantisedBlock& quantised) {
    uint8x16x4_t block;
    for (std::size_t pair = 0; pair < HALF; ++pair)
        block.val[pair] =
            vcombine_u8(vld1_u8(pixels + 2 * pair * stride), vld1_u8(pixels + (2 * pair + 1) * stride));
    Rows left, right;
    for (std::size_t pair = 0; pair < HALF; ++pair) {
        const uint8x16_t columns = vqtbl4q_u8(block, vld1q_u8(COLUMN_PAIRS[pair].data()));
        const uint16x8_t first = vmovl_u8(vget_low_u8(columns)), second = vmovl_u8(vget_high_u8(columns));
        left.row[2 * pair] = aroundZero(vget_low_u16(first));
        right.row[2 * pair] = aroundZero(vget_high_u16(first));
        left.row[2 * pair + 1] = aroundZero(vget_low_u16(second));
        right.row[2 * pair + 1] = aroundZero(vget_high_u16(second));
    }
    transformAndQuantise(left, right, divisors, quantised);
}

}  // namespace

BlockTransforms neonTransforms() {
    return {"neon", ofSamples, ofGrey};
}

}  // namespace TooJpeg
#endif
