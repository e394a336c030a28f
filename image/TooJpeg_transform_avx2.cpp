// TooJpeg_transform_avx2.cpp - the transform with eight values at a time; built for x86-64 only.
// The same operations on the same values in the same order as the plain form, so the same coefficients. The
// target has no fused operations that a compiler could put in their place.
#if defined(__x86_64__)
#include "image/TooJpeg_exact.h"
// First, for what it switches off.
#include <immintrin.h>

#include "image/TooJpeg_transform.h"

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

}  // namespace

AVX2 void avx2Transform(Block& samples, const Block& divisors, Coefficients& coefficients) {
    Rows rows;
    for (int i = 0; i < BLOCK_SIDE; ++i) rows.row[i] = _mm256_loadu_ps(samples.data() + i * BLOCK_SIDE);
    transpose(rows);
    transformColumns(rows);
    transpose(rows);
    transformColumns(rows);

    alignas(32) std::int16_t natural[BLOCK_SIZE];
    for (int i = 0; i < BLOCK_SIDE; i += 2) {
        const float* const divisor = divisors.data() + i * BLOCK_SIDE;
        const __m256i packed = _mm256_packs_epi32(quantise(rows.row[i], divisor),
                                                  quantise(rows.row[i + 1], divisor + BLOCK_SIDE));
        _mm256_store_si256(reinterpret_cast<__m256i*>(natural + i * BLOCK_SIDE),
                           _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0)));
    }
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i) coefficients[i] = natural[ZIGZAG[i]];
}

}  // namespace TooJpeg
#endif
