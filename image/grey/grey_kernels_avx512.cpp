// grey_kernels_avx512.cpp - 64 pixels at a time, with byte permutation (VBMI) and byte dot products (VNNI);
// built for x86-64 only. A dot product sums in 32 bits.
#if defined(__x86_64__)
#if !defined(__clang__)  // g++ 12 warns about registers that its own header leaves undefined on purpose
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

#include "image/grey/grey_kernels.h"

namespace lumetra {

#define AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vnni")))

namespace {

constexpr std::size_t BLOCK = 64;  // pixels

// The grey weights as bytes of one 32-bit pixel. They do not fit the signed bytes that byte products take, so
// each is split into 256 H + L with L from -128 to 127: 9798 = 256 x 38 + 70, 19235 = 256 x 75 + 35,
// 3736 = 256 x 15 - 104.
struct GreyWeights {
    int high, low;
};

// Four signed bytes, the first of them lowest in memory.
constexpr int packBytes(int b0, int b1, int b2, int b3) {
    return static_cast<int>((static_cast<unsigned>(b0) & 0xFF) | (static_cast<unsigned>(b1) & 0xFF) << 8 |
                            (static_cast<unsigned>(b2) & 0xFF) << 16 |
                            (static_cast<unsigned>(b3) & 0xFF) << 24);
}

constexpr GreyWeights RED_FIRST = {packBytes(38, 75, 15, 0), packBytes(70, 35, -104, 0)};
constexpr GreyWeights BLUE_FIRST = {packBytes(15, 75, 38, 0), packBytes(-104, 35, 70, 0)};

// Byte indices 0, step, 2 step, ... for the 64 bytes of a permutation.
struct alignas(64) Indices {
    std::uint8_t at[64];
};
constexpr Indices everyNth(int step) {
    Indices indices = {};
    for (int i = 0; i < 64; ++i) indices.at[i] = static_cast<std::uint8_t>(i * step);
    return indices;
}
constexpr Indices widenToFour() {  // 16 pixels of three bytes; the fourth byte has weight 0
    Indices indices = {};
    for (int i = 0; i < 64; ++i) indices.at[i] = static_cast<std::uint8_t>(i / 4 * 3 + i % 4 % 3);
    return indices;
}
constexpr Indices EVERY_FOURTH = everyNth(4);  // of two vectors: wraps at 128, which is what is wanted
constexpr Indices EVERY_SECOND = everyNth(2);
constexpr Indices WIDEN = widenToFour();

AVX512 inline __m512i load64(const void* src) {
    return _mm512_loadu_si512(src);
}

// Sixteen pixels of four bytes to sixteen grey values of 32 bits.
AVX512 inline __m512i greyOf16(__m512i pixels, __m512i high, __m512i low) {
    const __m512i highSums = _mm512_slli_epi32(_mm512_dpbusd_epi32(_mm512_setzero_si512(), pixels, high), 8);
    return _mm512_srli_epi32(_mm512_dpbusd_epi32(highSums, pixels, low), 15);
}

AVX512 inline void store64(std::uint8_t* dst, __m512i g0, __m512i g1, __m512i g2, __m512i g3) {
    const __m512i pick = load64(EVERY_FOURTH.at);
    const __m512i first = _mm512_permutex2var_epi8(g0, pick, g1);  // 32 grey values, then the same again
    const __m512i second = _mm512_permutex2var_epi8(g2, pick, g3);
    _mm512_storeu_si512(dst, _mm512_inserti64x4(first, _mm512_castsi512_si256(second), 1));
}

AVX512 inline std::size_t greyNarrow(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels,
                                     GreyWeights weights) {
    const __m512i high = _mm512_set1_epi32(weights.high);
    const __m512i low = _mm512_set1_epi32(weights.low);
    const __m512i widen = load64(WIDEN.at);
    std::size_t done = 0;
    for (; done + BLOCK + 6 <= pixels; done += BLOCK) {  // the last load reads 16 bytes past its pixels
        const std::uint8_t* const block = src + 3 * done;
        const __m512i g0 = greyOf16(_mm512_permutexvar_epi8(widen, load64(block)), high, low);
        const __m512i g1 = greyOf16(_mm512_permutexvar_epi8(widen, load64(block + 48)), high, low);
        const __m512i g2 = greyOf16(_mm512_permutexvar_epi8(widen, load64(block + 96)), high, low);
        const __m512i g3 = greyOf16(_mm512_permutexvar_epi8(widen, load64(block + 144)), high, low);
        store64(dst + done, g0, g1, g2, g3);
    }
    return done;
}

AVX512 void greyFromRgb(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t done = greyNarrow(src, dst, pixels, RED_FIRST);
    scalarGreyKernels().fromRgb(src + 3 * done, dst + done, pixels - done);
}

AVX512 void greyFromBgr(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const std::size_t done = greyNarrow(src, dst, pixels, BLUE_FIRST);
    scalarGreyKernels().fromBgr(src + 3 * done, dst + done, pixels - done);
}

AVX512 void greyFromBgra(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const __m512i high = _mm512_set1_epi32(BLUE_FIRST.high);
    const __m512i low = _mm512_set1_epi32(BLUE_FIRST.low);
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const std::uint8_t* const block = src + 4 * done;
        const __m512i g0 = greyOf16(load64(block), high, low);
        const __m512i g1 = greyOf16(load64(block + 64), high, low);
        const __m512i g2 = greyOf16(load64(block + 128), high, low);
        const __m512i g3 = greyOf16(load64(block + 192), high, low);
        store64(dst + done, g0, g1, g2, g3);
    }
    scalarGreyKernels().fromBgra(src + 4 * done, dst + done, pixels - done);
}

AVX512 void evenBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    const __m512i pick = load64(EVERY_SECOND.at);
    std::size_t done = 0;
    for (; done + BLOCK <= pixels; done += BLOCK) {
        const __m512i first = load64(src + 2 * done);
        const __m512i second = load64(src + 2 * done + 64);
        _mm512_storeu_si512(dst + done, _mm512_permutex2var_epi8(first, pick, second));
    }
    scalarGreyKernels().evenBytes(src + 2 * done, dst + done, pixels - done);
}

}  // namespace

const GreyKernels& avx512GreyKernels() {
    static constexpr GreyKernels kernels = {"avx512", greyFromRgb, greyFromBgr, greyFromBgra, evenBytes};
    return kernels;
}

}  // namespace lumetra

#endif
