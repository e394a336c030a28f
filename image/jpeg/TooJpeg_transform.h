// TooJpeg_transform.h - one block of samples to quantised coefficients, and the factors that this takes.
// The plain form is the definition: any faster form must give the same coefficients, to the bit.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_TRANSFORM_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_TRANSFORM_H

#include <vector>

#include "image/jpeg/TooJpeg_tables.h"

namespace TooJpeg {

using Block = std::array<float, BLOCK_SIZE>;                // samples around 0, by rows
using Coefficients = std::array<std::int16_t, BLOCK_SIZE>;  // quantised, in zigzag order

struct QuantisedBlock {
    Coefficients values;
    std::uint64_t nonZero;  // bit i is set where value i is not 0
};

/// The quantisation table of a quality, in zigzag order as the file carries it.
/// @param typical  the table of quality 50, by rows
ByteTable quantisationTable(const ByteTable& typical, unsigned char quality);

/// What to multiply the transform's output with, by rows: it divides by the quantisation table (zigzag
/// order) and takes out the scale that the transform leaves in.
Block divisorsOf(const ByteTable& quantisation);

/// Forward DCT, quantisation, rounding to nearest (halves away from 0) and zigzag order, in two forms: of
/// samples, which are then of no more use, and of grey bytes, rows `stride` bytes apart, less 128.
/// Samples of -128 to 127 give coefficients of -1024 to 1020 at every quality.
struct BlockTransforms {
    const char* name;  // "plain", "avx2", "avx512", "neon": how tests and benchmarks report a set
    void (*ofSamples)(Block& samples, const Block& divisors, QuantisedBlock& quantised);
    void (*ofGrey)(const unsigned char* pixels, std::size_t stride, const Block& divisors,
                   QuantisedBlock& quantised);
};

BlockTransforms plainTransforms();                // the definition, always built
std::vector<BlockTransforms> usableTransforms();  // all this processor can run, plain first, fastest last
BlockTransforms fastestTransforms();              // any thread; takes no memory

// Built where the compiler can, run only where the processor can.
BlockTransforms avx2Transforms();
BlockTransforms avx512Transforms();
BlockTransforms neonTransforms();

}  // namespace TooJpeg

#endif
