// TooJpeg_transform_avx2.cpp - the transform for processors with AVX2; built for x86-64 only.
// Zigzag order comes from byte shuffles: each of its rows of eight gathers what it takes from every pair of
// rows, and zeros for the rest.
#if defined(__x86_64__)
#include "image/jpeg/TooJpeg_transform_x86.h"

namespace TooJpeg {

namespace {

struct alignas(32) Shuffle {
    std::uint8_t from[32];  // within each half of 16 bytes; 0x80 gives 0
};

// Of a zigzag row and a pair of rows. The two halves hold one row of the block each.
constexpr Shuffle zigzagShuffle(std::size_t zigzagRow, std::size_t pair) {
    Shuffle shuffle = {};
    for (auto& from : shuffle.from) from = 0x80;
    for (std::size_t i = 0; i < BLOCK_SIDE; ++i) {
        const std::size_t place = ZIGZAG[zigzagRow * BLOCK_SIDE + i];
        if (place / 16 != pair) continue;
        const std::size_t half = place / BLOCK_SIDE % 2;
        for (std::size_t byte = 0; byte < 2; ++byte)
            shuffle.from[half * 16 + 2 * i + byte] = static_cast<std::uint8_t>(place % BLOCK_SIDE * 2 + byte);
    }
    return shuffle;
}

constexpr auto zigzagShuffles() {
    std::array<std::array<Shuffle, BLOCK_SIDE / 2>, BLOCK_SIDE> shuffles{};
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row)
        for (std::size_t pair = 0; pair < BLOCK_SIDE / 2; ++pair)
            shuffles[row][pair] = zigzagShuffle(row, pair);
    return shuffles;
}

constexpr auto ZIGZAG_SHUFFLES = zigzagShuffles();

AVX2 inline __m128i zigzagRow(const Quantised& quantised, std::size_t row) {
    __m256i gathered = _mm256_setzero_si256();
    for (std::size_t pair = 0; pair < BLOCK_SIDE / 2; ++pair) {
        const auto* const from = reinterpret_cast<const __m256i*>(ZIGZAG_SHUFFLES[row][pair].from);
        gathered =
            _mm256_or_si256(gathered, _mm256_shuffle_epi8(quantised.rows[pair], _mm256_load_si256(from)));
    }
    return _mm_or_si128(_mm256_castsi256_si128(gathered), _mm256_extracti128_si256(gathered, 1));
}

AVX2 inline void finish(const Quantised& quantised, QuantisedBlock& out) {
    std::uint64_t zeros = 0;
    for (std::size_t row = 0; row < BLOCK_SIDE; row += 2) {
        const __m128i first = zigzagRow(quantised, row), second = zigzagRow(quantised, row + 1);
        auto* const place = reinterpret_cast<__m128i*>(out.values.data() + row * BLOCK_SIDE);
        _mm_storeu_si128(place, first);
        _mm_storeu_si128(place + 1, second);
        const __m128i none = _mm_setzero_si128();
        const int bits =
            _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(first, none), _mm_cmpeq_epi16(second, none)));
        zeros |= static_cast<std::uint64_t>(static_cast<unsigned>(bits)) << row * BLOCK_SIDE;
    }
    out.nonZero = ~zeros;
}

AVX2 void ofSamples(Block& samples, const Block& divisors, QuantisedBlock& quantised) {
    Rows columns;
    loadColumns(samples, columns);
    finish(transformAndQuantise(columns, divisors), quantised);
}

AVX2 void ofGrey(const unsigned char* pixels, std::size_t stride, const Block& divisors,
                 QuantisedBlock& quantised) {
    Rows columns;
    loadGreyColumns(pixels, stride, columns);
    finish(transformAndQuantise(columns, divisors), quantised);
}

}  // namespace

BlockTransforms avx2Transforms() {
    return {"avx2", ofSamples, ofGrey};
}

}  // namespace TooJpeg
#endif
