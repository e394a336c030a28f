// TooJpeg_transform.cpp - the DCT after Arai, Agui and Nakajima ("A fast DCT-SQ scheme for images", 1988):
// five multiplications for eight values, because the scale of each output is left to the quantisation.
// A product has a name of its own before it takes part in a sum, so no expression invites a fused operation.
#include "image/jpeg/TooJpeg_exact.h"
// First: it switches off fused operations.
#include "image/jpeg/TooJpeg_transform.h"

#include <algorithm>

namespace TooJpeg {

namespace {

// cos(k pi / 16) sqrt(2), and 1 for k = 0: how much too large output k of one pass is, but for sqrt(8).
constexpr std::array<float, BLOCK_SIDE> SCALE = {1.0f, 1.3870399f,  1.3065630f, 1.1758755f,
                                                 1.0f, 0.78569496f, 0.5411961f, 0.27589938f};

// Outputs 0, 2, 4 and 6, from the sums of the values mirrored about the middle.
void transformEvenPart(float* values, int step, float sum07, float sum16, float sum25, float sum34) {
    const float outerSum = sum07 + sum34;
    const float outerDifference = sum07 - sum34;
    const float innerSum = sum16 + sum25;
    const float innerDifference = sum16 - sum25;
    const float rotated = (innerDifference + outerDifference) * 0.707106781f;

    values[0 * step] = outerSum + innerSum;
    values[4 * step] = outerSum - innerSum;
    values[2 * step] = outerDifference + rotated;
    values[6 * step] = outerDifference - rotated;
}

// Outputs 1, 3, 5 and 7, from the differences of the values mirrored about the middle.
void transformOddPart(float* values, int step, float diff07, float diff16, float diff25, float diff34) {
    const float low = diff34 + diff25;
    const float middle = diff25 + diff16;
    const float high = diff16 + diff07;

    const float shared = (low - high) * 0.382683433f;
    const float lowProduct = low * 0.541196100f;
    const float highProduct = high * 1.306562965f;
    const float lowRotated = lowProduct + shared;
    const float highRotated = highProduct + shared;
    const float middleRotated = middle * 0.707106781f;
    const float plus = diff07 + middleRotated;
    const float minus = diff07 - middleRotated;

    values[5 * step] = minus + lowRotated;
    values[3 * step] = minus - lowRotated;
    values[1 * step] = plus + highRotated;
    values[7 * step] = plus - highRotated;
}

// One pass over eight values that lie `step` apart.
void transformEight(float* values, int step) {
    const float v0 = values[0 * step], v1 = values[1 * step], v2 = values[2 * step], v3 = values[3 * step];
    const float v4 = values[4 * step], v5 = values[5 * step], v6 = values[6 * step], v7 = values[7 * step];
    transformEvenPart(values, step, v0 + v7, v1 + v6, v2 + v5, v3 + v4);
    transformOddPart(values, step, v0 - v7, v1 - v6, v2 - v5, v3 - v4);
}

void plainOfSamples(Block& samples, const Block& divisors, QuantisedBlock& quantised) {
    for (int row = 0; row < BLOCK_SIDE; ++row) transformEight(samples.data() + row * BLOCK_SIDE, 1);
    for (int column = 0; column < BLOCK_SIDE; ++column) transformEight(samples.data() + column, BLOCK_SIDE);

    quantised.nonZero = 0;
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i) {
        const std::size_t place = ZIGZAG[i];
        const float quotient = samples[place] * divisors[place];
        const float half = quotient >= 0.0f ? 0.5f : -0.5f;
        quantised.values[i] = static_cast<std::int16_t>(quotient + half);
        quantised.nonZero |= static_cast<std::uint64_t>(quantised.values[i] != 0) << i;
    }
}

void plainOfGrey(const unsigned char* pixels, std::size_t stride, const Block& divisors,
                 QuantisedBlock& quantised) {
    Block samples;
    for (std::size_t row = 0; row < BLOCK_SIDE; ++row)
        for (std::size_t column = 0; column < BLOCK_SIDE; ++column)
            samples[row * BLOCK_SIDE + column] = static_cast<float>(pixels[row * stride + column]) - 128.0f;
    plainOfSamples(samples, divisors, quantised);
}

#if defined(__x86_64__)
bool hasAvx512() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
}
#endif

}  // namespace

ByteTable quantisationTable(const ByteTable& typical, unsigned char quality) {
    const int level = std::clamp<int>(quality, 1, 100);
    const int percent = level < 50 ? 5000 / level : 200 - 2 * level;
    ByteTable table{};
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i)
        table[i] = static_cast<std::uint8_t>(std::clamp((typical[ZIGZAG[i]] * percent + 50) / 100, 1, 255));
    return table;
}

Block divisorsOf(const ByteTable& quantisation) {
    Block divisors{};
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i) {
        const std::size_t place = ZIGZAG[i];
        const float scale = SCALE[place / BLOCK_SIDE] * SCALE[place % BLOCK_SIDE] * 8.0f;
        divisors[place] = 1.0f / scale / static_cast<float>(quantisation[i]);
    }
    return divisors;
}

BlockTransforms plainTransforms() {
    return {"plain", plainOfSamples, plainOfGrey};
}

std::vector<BlockTransforms> usableTransforms() {
    std::vector<BlockTransforms> usable = {plainTransforms()};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) usable.push_back(avx2Transforms());
    if (hasAvx512()) usable.push_back(avx512Transforms());
#elif defined(__aarch64__)
    usable.push_back(neonTransforms());
#endif
    return usable;
}

BlockTransforms fastestTransforms() {
#if defined(__x86_64__)
    if (hasAvx512()) return avx512Transforms();
    if (__builtin_cpu_supports("avx2")) return avx2Transforms();
    return plainTransforms();
#elif defined(__aarch64__)
    return neonTransforms();
#else
    return plainTransforms();
#endif
}

}  // namespace TooJpeg
