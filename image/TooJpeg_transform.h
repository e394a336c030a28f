// TooJpeg_transform.h - one block of samples to quantised coefficients, and the factors that this takes.
// plainTransform is the definition: any faster form of it must give the same coefficients, to the bit.
#ifndef LUMETRA_IMAGE_TOOJPEG_TRANSFORM_H
#define LUMETRA_IMAGE_TOOJPEG_TRANSFORM_H

#include <vector>

#include "image/TooJpeg_tables.h"

namespace TooJpeg {

using Block = std::array<float, BLOCK_SIZE>;                // samples around 0, by rows
using Coefficients = std::array<std::int16_t, BLOCK_SIZE>;  // quantised, in zigzag order
using BlockTransform = void (*)(Block& samples, const Block& divisors, Coefficients& coefficients);

/// The quantisation table of a quality, in zigzag order as the file carries it.
/// @param typical  the table of quality 50, by rows
ByteTable quantisationTable(const ByteTable& typical, unsigned char quality);

/// What to multiply the transform's output with, by rows: it divides by the quantisation table (zigzag
/// order) and takes out the scale that the transform leaves in.
Block divisorsOf(const ByteTable& quantisation);

/// Forward DCT, quantisation, rounding to nearest (halves away from 0) and zigzag order. A BlockTransform.
/// Samples of -128 to 127 give coefficients of -1024 to 1020 at every quality.
/// @param samples  used as working storage; of no use afterwards
void plainTransform(Block& samples, const Block& divisors, Coefficients& coefficients);

void avx2Transform(Block& samples, const Block& divisors, Coefficients& coefficients);  ///< x86-64 with AVX2

struct NamedTransform {
    const char* name;
    BlockTransform transform;
};
/// What this processor can run, the plain form first, the fastest last.
std::vector<NamedTransform> usableTransforms();
BlockTransform fastestTransform();  ///< any thread; takes no memory

}  // namespace TooJpeg

#endif
