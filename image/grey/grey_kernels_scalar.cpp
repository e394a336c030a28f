// grey_kernels_scalar.cpp - the reference: every other set gives its bytes.
#include <algorithm>

#include "image/grey/grey_kernels.h"

namespace lumetra {

namespace {

template <std::size_t bytesPerPixel, std::size_t red, std::size_t green, std::size_t blue>
void greyFromColour(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, src += bytesPerPixel) {
        const std::uint32_t weighted = 9798U * src[red] + 19235U * src[green] + 3736U * src[blue];
        dst[i] = static_cast<std::uint8_t>(std::min(255U, weighted >> 15));
    }
}

void evenBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) dst[i] = src[2 * i];
}

}  // namespace

const GreyKernels& scalarGreyKernels() {
    static constexpr GreyKernels kernels = {"scalar", greyFromColour<3, 0, 1, 2>, greyFromColour<3, 2, 1, 0>,
                                            greyFromColour<4, 2, 1, 0>, evenBytes};
    return kernels;
}

}  // namespace lumetra
