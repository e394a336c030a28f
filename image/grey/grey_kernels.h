// grey_kernels.h - pixels to 8-bit grey, one run of neighbouring pixels at a time.
// A kernel knows nothing of chunks, flips or levels; its caller walks the picture. `dst` may equal `src` or
// lie before it (chunks are converted in place): a kernel reads a whole block before it writes any of it,
// and never reads or writes outside the run.
// Every set yields min(255, (9798 R + 19235 G + 3736 B) >> 15) for colour, the weights 0.299, 0.587 and
// 0.114 in steps of 1/32768, to the bit.
#ifndef LUMETRA_IMAGE_GREY_GREY_KERNELS_H
#define LUMETRA_IMAGE_GREY_GREY_KERNELS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumetra {

using GreyRun = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels);

struct GreyKernels {
    const char* name;  // "scalar", "avx2", "avx512", "neon": how tests and benchmarks report a set
    GreyRun fromRgb, fromBgr, fromBgra;
    GreyRun evenBytes;  // every second byte from the first: the luma of YUYV, a row at half its width
};

const GreyKernels& scalarGreyKernels();        // the reference: plain loops, always built
std::vector<GreyKernels> usableGreyKernels();  // all this processor can run, scalar first, fastest last
const GreyKernels& greyKernels();              // the fastest of them, chosen once; any thread

// Built where the compiler can, run only where the processor can.
const GreyKernels& avx2GreyKernels();
const GreyKernels& avx512GreyKernels();
const GreyKernels& neonGreyKernels();

}  // namespace lumetra

#endif
