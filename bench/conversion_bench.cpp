// conversion_bench.cpp - everything that a worker does to one frame: grey, flip, eight supplied levels.
// Beside it libyuv doing the same steps, each level to grey and turned over, in buffers that are warm as
// well.
#include "image/conversion.h"

#include <memory>

#include "bench/frame_sizes.h"
#include "image/frame_buffers.h"
#include "image/pixel_formats.h"

#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

namespace {

constexpr auto ALL =
    LUMETRA_CONVERSIONMODIFIER(LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID | LUMETRA_CONVERT_FLIPVERTICAL);

std::unique_ptr<IChnk> chunkFor(const benchmark::State& state, LUMETRA_IMGFORMATTYPE format) {
    auto chunk = std::make_unique<IChnk>(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                                         format, 0, "");
    std::make_shared<FrameBuffers>()->allocatePixels(
        *chunk, pyramidBytes(pictureBytes(format, chunk->width, chunk->height)));
    layOutLevels(*chunk);
    const Bytes pixels = randomBytes(static_cast<std::size_t>(chunk->size), 1);
    std::copy(pixels.begin(), pixels.end(), chunk->data->lvl[0]);
    return chunk;
}

void wholeWork(benchmark::State& state, LUMETRA_IMGFORMATTYPE format) {
    const auto chunk = chunkFor(state, format);
    for (auto _ : state) {
        chunk->format = format;
        benchmark::DoNotOptimize(convertPixels(*chunk, ALL, true));
        benchmark::ClobberMemory();
    }
}

#if defined(LUMETRA_HAS_LIBYUV)
void wholeWorkLibyuv(benchmark::State& state, LUMETRA_IMGFORMATTYPE format,
                     int (*convert)(const uint8_t*, int, uint8_t*, int, int, int), int bytesPerPixel) {
    const auto chunk = chunkFor(state, format);
    Bytes grey(static_cast<std::size_t>(chunk->size));
    for (auto _ : state) {
        std::uint8_t* out = grey.data();
        for (int k = 0; k < PYRAMID_LEVELS; ++k) {
            const int width = chunk->width >> k, height = chunk->height >> k;
            convert(chunk->data->lvl[k], bytesPerPixel * width, out, width, width, -height);  // upside down
            out += width * height;
        }
        benchmark::ClobberMemory();
    }
}
#endif

void derived(benchmark::State& state) {
    IChnk chunk(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), LUMETRA_IMGFORMAT_GRAY8,
                0, "");
    std::make_shared<FrameBuffers>()->allocatePixels(chunk, chunk.width * chunk.height);
    for (auto _ : state) {
        convertPixels(chunk, LUMETRA_CONVERSIONMODIFIER(LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID),
                      true);
        benchmark::ClobberMemory();
    }
}

#if defined(LUMETRA_HAS_LIBYUV)
void derivedLibyuv(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    Bytes picture = randomBytes(pixelsOf(state) * 3 / 2, 1);
    for (auto _ : state) {
        std::uint8_t* src = picture.data();
        for (int k = 1; k < PYRAMID_LEVELS; ++k) {
            const int above = width >> (k - 1), aboveHeight = height >> (k - 1);
            std::uint8_t* const dst = src + above * aboveHeight;
            libyuv::ScalePlane(src, above, above & ~1, aboveHeight & ~1, dst, above / 2, above / 2,
                               aboveHeight / 2, libyuv::kFilterNone);
            src = dst;
        }
        benchmark::ClobberMemory();
    }
}
#endif

const bool registered = [] {
    benchmark::RegisterBenchmark("whole/rgb/engine", wholeWork, LUMETRA_IMGFORMAT_RGB)->Apply(frameSizes);
    benchmark::RegisterBenchmark("whole/bgra/engine", wholeWork, LUMETRA_IMGFORMAT_BGRA)->Apply(frameSizes);
    benchmark::RegisterBenchmark("derived/engine", derived)->Apply(frameSizes);
#if defined(LUMETRA_HAS_LIBYUV)
    benchmark::RegisterBenchmark("whole/rgb/libyuv", wholeWorkLibyuv, LUMETRA_IMGFORMAT_RGB,
                                 libyuv::RAWToJ400, 3)
        ->Apply(frameSizes);
    benchmark::RegisterBenchmark("whole/bgra/libyuv", wholeWorkLibyuv, LUMETRA_IMGFORMAT_BGRA,
                                 libyuv::ARGBToJ400, 4)
        ->Apply(frameSizes);
    benchmark::RegisterBenchmark("derived/libyuv", derivedLibyuv)->Apply(frameSizes);
#endif
    return true;
}();

}  // namespace
