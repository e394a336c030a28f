// TooJpeg_transform_avx512.cpp - the transform for processors with AVX-512; built for x86-64 only.
// Their permutations of 16-bit values put a block into zigzag order at once. The arithmetic stays with eight
// values at a time, as many as a row has.
#if defined(__x86_64__)
#include "image/jpeg/TooJpeg_transform_x86.h"

#define AVX512 __attribute__((target("avx2,avx512f,avx512bw")))

namespace TooJpeg {

namespace {

constexpr auto wideZigzag() {
    std::array<std::uint16_t, BLOCK_SIZE> places{};
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i) places[i] = ZIGZAG[i];
    return places;
}

alignas(64) constexpr auto WIDE_ZIGZAG = wideZigzag();

AVX512 inline __m512i join(__m256i low, __m256i high) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

AVX512 inline void finish(const Quantised& quantised, QuantisedBlock& out) {
    const __m512i upper = join(quantised.rows[0], quantised.rows[1]);
    const __m512i lower = join(quantised.rows[2], quantised.rows[3]);
    const __m512i first = _mm512_permutex2var_epi16(upper, _mm512_load_si512(WIDE_ZIGZAG.data()), lower);
    const __m512i second =
        _mm512_permutex2var_epi16(upper, _mm512_load_si512(WIDE_ZIGZAG.data() + 32), lower);
    _mm512_storeu_si512(out.values.data(), first);
    _mm512_storeu_si512(out.values.data() + 32, second);
    out.nonZero = static_cast<std::uint64_t>(_mm512_test_epi16_mask(second, second)) << 32 |
                  _mm512_test_epi16_mask(first, first);
}

AVX512 void ofSamples(Block& samples, const Block& divisors, QuantisedBlock& quantised) {
    Rows columns;
    loadColumns(samples, columns);
    finish(transformAndQuantise(columns, divisors), quantised);
}

AVX512 void ofGrey(const unsigned char* pixels, std::size_t stride, const Block& divisors,
                   QuantisedBlock& quantised) {
    Rows columns;
    loadGreyColumns(pixels, stride, columns);
    finish(transformAndQuantise(columns, divisors), quantised);
}

}  // namespace

BlockTransforms avx512Transforms() {
    return {"avx512", ofSamples, ofGrey};
}

}  // namespace TooJpeg
#endif
