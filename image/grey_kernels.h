// grey_kernels.h - pixels to 8-bit grey, one run of neighbouring pixels at a time.
// A kernel knows nothing of chunks, flips or levels; its caller walks the picture. `dst` may equal `src`
// (chunks are converted in place): a kernel reads a whole block before it writes any of it.
// Every set yields min(255, (9798 R + 19235 G + 3736 B) >> 15) for colour, the weights 0.299, 0.587 and
// 0.114 in steps of 1/32768, and the first byte of every pixel for YUYV, to the bit.
#ifndef LUMETRA_IMAGE_GREY_KERNELS_H
#define LUMETRA_IMAGE_GREY_KERNELS_H

#include <cstddef>
#include <cstdint>

using GreyRun = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels);

struct GreyKernels {
    const char* name;  // "scalar": how tests and benchmarks report a set
    GreyRun fromRgb, fromBgr, fromBgra, fromYuyv;
};

const GreyKernels& scalarGreyKernels();  // the reference: plain loops, always built
const GreyKernels& greyKernels();        // the fastest set of this processor; any thread

#endif
