// grey_kernels_bench.cpp - one frame to grey, in place as the engine does it, by every set of kernels that
// this processor runs, beside libyuv doing the nearest thing it has.
#include "image/grey_kernels.h"

#include "bench/frame_sizes.h"

#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

namespace {

void greyInPlace(benchmark::State& state, GreyRun run, std::size_t bytesPerPixel) {
    Bytes frame = randomBytes(bytesPerPixel * pixelsOf(state), 1);
    for (auto _ : state) {
        run(frame.data(), frame.data(), pixelsOf(state));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.size()));
}

#if defined(LUMETRA_HAS_LIBYUV)
void libyuvInPlace(benchmark::State& state, int (*convert)(const uint8_t*, int, uint8_t*, int, int, int),
                   int bytesPerPixel) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    Bytes frame = randomBytes(static_cast<std::size_t>(bytesPerPixel) * pixelsOf(state), 1);
    for (auto _ : state) {
        convert(frame.data(), bytesPerPixel * width, frame.data(), width, width, height);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.size()));
}
#endif

const bool registered = [] {
    const std::tuple<const char*, GreyRun GreyKernels::*, std::size_t> runs[] = {
        {"rgb", &GreyKernels::fromRgb, 3},
        {"bgr", &GreyKernels::fromBgr, 3},
        {"bgra", &GreyKernels::fromBgra, 4},
        {"yuyv", &GreyKernels::evenBytes, 2}};
    for (const auto& [format, run, bytesPerPixel] : runs)
        for (const GreyKernels& kernels : usableGreyKernels())
            benchmark::RegisterBenchmark((std::string(format) + "/" + kernels.name).c_str(), greyInPlace,
                                         kernels.*run, bytesPerPixel)
                ->Apply(frameSizes);
#if defined(LUMETRA_HAS_LIBYUV)
    benchmark::RegisterBenchmark("rgb/libyuv", libyuvInPlace, libyuv::RAWToJ400, 3)->Apply(frameSizes);
    benchmark::RegisterBenchmark("bgr/libyuv", libyuvInPlace, libyuv::RGB24ToJ400, 3)->Apply(frameSizes);
    benchmark::RegisterBenchmark("bgra/libyuv", libyuvInPlace, libyuv::ARGBToJ400, 4)->Apply(frameSizes);
    benchmark::RegisterBenchmark("yuyv/libyuv", libyuvInPlace, libyuv::YUY2ToY, 2)->Apply(frameSizes);
#endif
    return true;
}();

}  // namespace
