// grey_kernels_avx2.cpp - 32 pixels at a time; built for x86-64 only.
#if defined(__x86_64__)
#include <immintrin.h>

#include "image/grey_kernels.h"
#include "image/grey_weights.h"

#define AVX2 __attribute__((target("avx2")))

namespace {

constexpr std::size_t BLOCK = 32;  // pixels

// Eight pixels of four bytes to eight grey values of 32 bits.
AVX2 inline __m256i greyOf8(__m256i pixels, __m256i high, __m256i low) {
    const __m256i highSums = _mm256_madd_epi16(_mm256_maddubs_epi16(pixels, high), _mm256_set1_epi16(256));
    const __m256i lowSums = _mm256_madd_epi16(_mm256_maddubs_epi16(pixels, low), _mm256_set1_epi16(1));
    return _mm256_srli_epi32(_mm256_add_epi32(highSums, lowSums), 15);
}

AVX2 inline void store32(std::uint8_t* dst, __m256i g0, __m256i g1, __m256i g2, __m256i g3) {
    const __m256i mixed = _mm256_packus_epi16(_mm256_packs_epi32(g0, g1), _mm256_packs_epi32(g2, g3));
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);  // packing works in halves of 128 bits
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_permutevar8x32_epi32(mixed, order));
}

AVX2 inline __m256i load32(const std::uint8_t* src) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
}

// Eight pixels of three bytes, widened to four. Reads 28 bytes.
AVX2 inline __m256i load8Narrow(const std::uint8_t* src) {
    const auto half = [](const std::uint8_t* at)
                          AVX2 { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); };
    const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                            0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    return _mm256_shuffle_epi8(_mm256_set_m128i(half(src + 12), half(src)), spread);
}

AVX2 inline std::size_t greyNarrow(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels,
                                   GreyWeights weights) {
    const __m256i high = _mm256_set1_epi32(weights.high);
    const __m256i low = _mm256_set1_epi32(weights.low);
    std::size_t done = 0;
    for (; done + BLOCK + 2 <= pixels; done += BLOCK) {  // the last load reads four bytes past its pixels
        const std::uint8_t* const block = src + 3 * done;
        const __m256i g0 = greyOf8(load8Narrow(block), high, low);
        const __m256i g1 = greyOf8(load8Narrow(block + 24), high, low);
        const __m256i g2 = greyOf8(load8Narrow(block + 48), high, low);
        const __m256i g3 = greyOf8(load8Narrow(block + 72), high, low);
        store32(dst + done, g0, g1, g2, g3);
    }
    return done;
}

AVX2 void greyFromRgb(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t done = greyNarrow(src, dst, pixels, RED_FIRST);
    scalarGreyKernels().fromRgb(src + 3 * done, dst + done, pixels - done);
}

AVX2 void greyFromBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t done = greyNarrow(src, dst, pixels, BLUE_FIRST);
    scalarGreyKernels().fromBgr(src + 3 * done, dst + done, pixels - done);
}

AVX2 void greyFromBgra(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const __m256i high = _mm256_set1_epi32(BLUE_FIRST.high);
    const __m256i low = _mm256_set1_epi32(BLUE_FIRST.low);
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const std::uint8_t* const block = src + 4 * done;
        const __m256i g0 = greyOf8(load32(block), high, low);
        const __m256i g1 = greyOf8(load32(block + 32), high, low);
        const __m256i g2 = greyOf8(load32(block + 64), high, low);
        const __m256i g3 = greyOf8(load32(block + 96), high, low);
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
#endif
