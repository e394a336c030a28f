// TooJpeg_transform_x86.h - the transform with eight values at a time, for the AVX units to build upon.
// The same operations on the same values in the same order as the plain form, so the same coefficients. The
// targets have no fused operations that a compiler could put in their place, or it is told not to.
#ifndef LUMETRA_IMAGE_TOOJPEG_TRANSFORM_X86_H
#define LUMETRA_IMAGE_TOOJPEG_TRANSFORM_X86_H
#include "image/jpeg/TooJpeg_exact.h"
// First: it switches off fused operations.
#if !defined(__clang__)  // g++ 12 warns about registers that its own header leaves undefined on purpose
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

#include "image/jpeg/TooJpeg_transform.h"

#define AVX2 __attribute__((target("avx2")))

namespace TooJpeg {

namespace {

struct Rows {
    __m256 row[BLOCK_SIDE];
};

AVX2 inline __m256 add(__m256 a, __m256 b) {
    return _mm256_add_ps(a, b);
}
AVX2 inline __m256 subtract(__m256 a, __m256 b) {
    return _mm256_sub_ps(a, b);
}
AVX2 inline __m256 scale(__m256 a, float factor) {
    return _mm256_mul_ps(a, _mm256_set1_ps(factor));
}

// One pass down every column.
AVX2 inline void transformColumns(Rows& rows) {
    __m256* const v = rows.row;
    const __m256 sum07 = add(v[0], v[7]), diff07 = subtract(v[0], v[7]);
    const __m256 sum16 = add(v[1], v[6]), diff16 = subtract(v[1], v[6]);
    const __m256 sum25 = add(v[2], v[5]), diff25 = subtract(v[2], v[5]);
    const __m256 sum34 = add(v[3], v[4]), diff34 = subtract(v[3], v[4]);

    const __m256 outerSum = add(sum07, sum34), outerDifference = subtract(sum07, sum34);
    const __m256 innerSum = add(sum16, sum25), innerDifference = subtract(sum16, sum25);
    const __m256 rotated = scale(add(innerDifference, outerDifference), 0.707106781f);
    v[0] = add(outerSum, innerSum);
    v[4] = subtract(outerSum, innerSum);
    v[2] = add(outerDifference, rotated);
    v[6] = subtract(outerDifference, rotated);

    const __m256 low = add(diff34, diff25), middle = add(diff25, diff16), high = add(diff16, diff07);
    const __m256 shared = scale(subtract(low, high), 0.382683433f);
    const __m256 lowRotated = add(scale(low, 0.541196100f), shared);
    const __m256 highRotated = add(scale(high, 1.306562965f), shared);
    const __m256 middleRotated = scale(middle, 0.707106781f);
    const __m256 plus = add(diff07, middleRotated), minus = subtract(diff07, middleRotated);
    v[5] = add(minus, lowRotated);
    v[3] = subtract(minus, lowRotated);
    v[1] = add(plus, highRotated);
    v[7] = subtract(plus, highRotated);
}

AVX2 inline void transpose(Rows& rows) {
    __m256* const v = rows.row;
    __m256 pairs[BLOCK_SIDE], quads[BLOCK_SIDE];
    for (int i = 0; i < BLOCK_SIDE; i += 2) {
        pairs[i] = _mm256_unpacklo_ps(v[i], v[i + 1]);
        pairs[i + 1] = _mm256_unpackhi_ps(v[i], v[i + 1]);
    }
    for (int i = 0; i < BLOCK_SIDE; i += 4) {
        quads[i] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], _MM_SHUFFLE(1, 0, 1, 0));
        quads[i + 1] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], _MM_SHUFFLE(3, 2, 3, 2));
        quads[i + 2] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], _MM_SHUFFLE(1, 0, 1, 0));
        quads[i + 3] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], _MM_SHUFFLE(3, 2, 3, 2));
    }
    for (int i = 0; i < 4; ++i) {
        v[i] = _mm256_permute2f128_ps(quads[i], quads[i + 4], 0x20);
        v[i + 4] = _mm256_permute2f128_ps(quads[i], quads[i + 4], 0x31);
    }
}

// Times the divisors, then to the nearest whole number, halves away from 0: half of the value's own sign is
// added and the rest cut off. A value of -0 gives 0 either way.
AVX2 inline __m256i quantise(__m256 row, const float* divisors) {
    const __m256 quantised = _mm256_mul_ps(row, _mm256_loadu_ps(divisors));
    const __m256 sign = _mm256_and_ps(quantised, _mm256_set1_ps(-0.0f));
    return _mm256_cvttps_epi32(_mm256_add_ps(quantised, _mm256_or_ps(sign, _mm256_set1_ps(0.5f))));
}

// The samples with rows and columns exchanged, as the first pass wants them.
AVX2 inline void loadColumns(const Block& samples, Rows& columns) {
    for (int i = 0; i < BLOCK_SIDE; ++i) columns.row[i] = _mm256_loadu_ps(samples.data() + i * BLOCK_SIDE);
    transpose(columns);
}

// Two columns of bytes, the one below the other, to samples around 0.
AVX2 inline void widenPair(__m128i pair, __m256* columns) {
    const __m256 middle = _mm256_set1_ps(128.0f);
    columns[0] = subtract(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(pair)), middle);
    columns[1] = subtract(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_srli_si128(pair, 8))), middle);
}

// The same of grey bytes, exchanged while they are small.
AVX2 inline void loadGreyColumns(const unsigned char* pixels, std::size_t stride, Rows& columns) {
    __m128i rows[BLOCK_SIDE];
    for (std::size_t i = 0; i < BLOCK_SIDE; ++i)
        rows[i] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixels + i * stride));
    __m128i pairs[4];  // each row with the one four below it
    for (int i = 0; i < 4; ++i) pairs[i] = _mm_unpacklo_epi8(rows[i], rows[i + 4]);
    const __m128i even03 = _mm_unpacklo_epi8(pairs[0], pairs[2]);  // of columns 0 to 3, every second row
    const __m128i even47 = _mm_unpackhi_epi8(pairs[0], pairs[2]);
    const __m128i odd03 = _mm_unpacklo_epi8(pairs[1], pairs[3]);
    const __m128i odd47 = _mm_unpackhi_epi8(pairs[1], pairs[3]);
    widenPair(_mm_unpacklo_epi8(even03, odd03), columns.row);
    widenPair(_mm_unpackhi_epi8(even03, odd03), columns.row + 2);
    widenPair(_mm_unpacklo_epi8(even47, odd47), columns.row + 4);
    widenPair(_mm_unpackhi_epi8(even47, odd47), columns.row + 6);
}

struct Quantised {
    __m256i rows[BLOCK_SIDE / 2];  // two rows of 16-bit values each
};

// Both passes and the quantisation.
AVX2 inline Quantised transformAndQuantise(Rows& columns, const Block& divisors) {
    transformColumns(columns);
    transpose(columns);
    transformColumns(columns);
    Quantised quantised;
    for (int i = 0; i < BLOCK_SIDE; i += 2) {
        const float* const divisor = divisors.data() + i * BLOCK_SIDE;
        const __m256i packed = _mm256_packs_epi32(quantise(columns.row[i], divisor),
                                                  quantise(columns.row[i + 1], divisor + BLOCK_SIDE));
        quantised.rows[i / 2] = _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
    }
    return quantised;
}

}  // namespace

}  // namespace TooJpeg

#endif
