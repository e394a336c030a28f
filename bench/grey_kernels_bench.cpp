// grey_kernels_bench.cpp - one frame to grey, in place as the engine does it, by every set of kernels that
// this processor runs, beside libyuv doing the nearest thing it has.
#include "image/grey/grey_kernels.h"

#include <memory>

#include "bench/side_by_side.h"

#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

using namespace lumetra;

namespace {

using PeerRun = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

struct Format {
    const char* name;
    GreyRun GreyKernels::*run;
    std::size_t bytesPerPixel;
    PeerRun peer;
};
constexpr Format FORMATS[] = {
#if defined(LUMETRA_HAS_LIBYUV)
    {"rgb", &GreyKernels::fromRgb, 3, libyuv::RAWToJ400},
    {"bgr", &GreyKernels::fromBgr, 3, libyuv::RGB24ToJ400},
    {"bgra", &GreyKernels::fromBgra, 4, libyuv::ARGBToJ400},
    {"yuyv", &GreyKernels::evenBytes, 2, libyuv::YUY2ToY},
#else
    {"rgb", &GreyKernels::fromRgb, 3, nullptr},
    {"bgr", &GreyKernels::fromBgr, 3, nullptr},
    {"bgra", &GreyKernels::fromBgra, 4, nullptr},
    {"yuyv", &GreyKernels::evenBytes, 2, nullptr},
#endif
};

void compareKernels(const Format& format, const GreyKernels& kernels, FrameSize size) {
    const auto mine = std::make_shared<Bytes>(randomBytes(format.bytesPerPixel * size.pixels(), 1));
    const auto theirs = std::make_shared<Bytes>(*mine);
    const GreyRun run = kernels.*format.run;
    Work peer;
    if (format.peer != nullptr)
        peer = [=, bytes = static_cast<int>(format.bytesPerPixel)] {
            format.peer(theirs->data(), bytes * size.width, theirs->data(), size.width, size.width,
                        size.height);
        };
    compare(
        std::string("grey/") + format.name + "/" + kernels.name + "/" + size.name(),
        [=] { run(mine->data(), mine->data(), size.pixels()); }, peer);
}

const bool registered = [] {
    for (const Format& format : FORMATS)
        for (const GreyKernels& kernels : usableGreyKernels())
            for (const FrameSize size : FRAME_SIZES) compareKernels(format, kernels, size);
    return true;
}();

}  // namespace
