// grey_kernels_avx2.cpp - 32 pixels at a time; built for x86-64 only.
#if defined(__x86_64__)
#include <immintrin.h>

#include "image/grey/grey_kernels.h"

namespace lumetra {

#define AVX2 __attribute__((target("avx2")))

namespace {

constexpr std::size_t BLOCK = 32;  // pixels

// For pairs of 16-bit values, the first of them lowest in memory.
constexpr int pairOf(int first, int second) {
    return second << 16 | first;
}
constexpr int GREEN = pairOf(19235, 0);

AVX2 inline __m256i load32(const std::uint8_t* src) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
}

// Eight grey values of 32 bits from red and blue, 16 bits each, and green with anything above it.
AVX2 inline __m256i greyOf8(__m256i redAndBlue, __m256i green, int redAndBlueWeights) {
    const __m256i outer = _mm256_madd_epi16(redAndBlue, _mm256_set1_epi32(redAndBlueWeights));
    const __m256i inner = _mm256_madd_epi16(green, _mm256_set1_epi32(GREEN));
    return _mm256_srli_epi32(_mm256_add_epi32(outer, inner), 15);
}

AVX2 inline void store32(std::uint8_t* dst, __m256i g0, __m256i g1, __m256i g2, __m256i g3) {
    const __m256i mixed = _mm256_packus_epi16(_mm256_packs_epi32(g0, g1), _mm256_packs_epi32(g2, g3));
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);  // packing works in halves of 128 bits
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_permutevar8x32_epi32(mixed, order));
}

// Eight pixels of three bytes. Reads from 4 bytes before them to 4 behind, so that each half of the register
// has four of them whole.
AVX2 inline __m256i greyOf8Narrow(const std::uint8_t* src, int outerWeights) {
    const __m256i pixels = load32(src - 4);
    const __m256i outer = _mm256_setr_epi8(4, -1, 6, -1, 7, -1, 9, -1, 10, -1, 12, -1, 13, -1, 15, -1,  //
                                           0, -1, 2, -1, 3, -1, 5, -1, 6, -1, 8, -1, 9, -1, 11, -1);
    const __m256i inner = _mm256_setr_epi8(5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1, 14, -1, -1, -1,  //
                                           1, -1, -1, -1, 4, -1, -1, -1, 7, -1, -1, -1, 10, -1, -1, -1);
    return greyOf8(_mm256_shuffle_epi8(pixels, outer), _mm256_shuffle_epi8(pixels, inner), outerWeights);
}

// The middle of a run, as far as whole blocks go. Returns where it ends; it begins at pixel 2.
AVX2 inline std::size_t greyNarrow(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels,
                                   int outerWeights) {
    std::size_t done = 2;
    for (; done + BLOCK + 2 <= pixels; done += BLOCK) {
        const std::uint8_t* const block = src + 3 * done;
        const __m256i g0 = greyOf8Narrow(block, outerWeights);
        const __m256i g1 = greyOf8Narrow(block + 24, outerWeights);
        const __m256i g2 = greyOf8Narrow(block + 48, outerWeights);
        const __m256i g3 = greyOf8Narrow(block + 72, outerWeights);
        store32(dst + done, g0, g1, g2, g3);
    }
    return done;
}

AVX2 void greyFromRgb(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t first = pixels < 2 ? pixels : 2;
    scalarGreyKernels().fromRgb(src, dst, first);
    if (first == pixels) return;
    const std::size_t done = greyNarrow(src, dst, pixels, pairOf(9798, 3736));
    scalarGreyKernels().fromRgb(src + 3 * done, dst + done, pixels - done);
}

AVX2 void greyFromBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t first = pixels < 2 ? pixels : 2;
    scalarGreyKernels().fromBgr(src, dst, first);
    if (first == pixels) return;
    const std::size_t done = greyNarrow(src, dst, pixels, pairOf(3736, 9798));
    scalarGreyKernels().fromBgr(src + 3 * done, dst + done, pixels - done);
}

AVX2 inline __m256i greyOf8Wide(const std::uint8_t* src) {
    const __m256i pixels = load32(src);
    return greyOf8(_mm256_and_si256(pixels, _mm256_set1_epi16(0x00FF)), _mm256_srli_epi16(pixels, 8),
                   pairOf(3736, 9798));
}

AVX2 void greyFromBgra(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const std::uint8_t* const block = src + 4 * done;
        const __m256i g0 = greyOf8Wide(block), g1 = greyOf8Wide(block + 32);
        const __m256i g2 = greyOf8Wide(block + 64), g3 = greyOf8Wide(block + 96);
        store32(dst + done, g0, g1, g2, g3);
    }
    scalarGreyKernels().fromBgra(src + 4 * done, dst + done, pixels - done);
}

AVX2 void evenBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const __m256i even = _mm256_set1_epi16(0x00FF);
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const __m256i first = _mm256_and_si256(load32(src + 2 * done), even);
        const __m256i second = _mm256_and_si256(load32(src + 2 * done + 32), even);
        const __m256i mixed = _mm256_packus_epi16(first, second);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + done),
                            _mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0)));
    }
    scalarGreyKernels().evenBytes(src + 2 * done, dst + done, pixels - done);
}

}  // namespace

const GreyKernels& avx2GreyKernels() {
    static constexpr GreyKernels kernels = {"avx2", greyFromRgb, greyFromBgr, greyFromBgra, evenBytes};
    return kernels;
}

}  // namespace lumetra

#endif
