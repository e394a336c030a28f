// conversion_bench.cpp - everything that a worker does to one frame: grey, flip, eight supplied levels, or
// seven derived ones. Beside it libyuv doing the same steps, in buffers that are warm as well.
#include "image/conversion.h"

#include <memory>

#include "bench/side_by_side.h"
#include "image/frame_buffers.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

using namespace lumetra;

namespace {

constexpr auto ALL =
    LUMETRA_CONVERSIONMODIFIER(LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID | LUMETRA_CONVERT_FLIPVERTICAL);
constexpr auto DERIVE = LUMETRA_CONVERSIONMODIFIER(LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID);

std::shared_ptr<IChnk> chunkOf(FrameSize size, LUMETRA_IMGFORMATTYPE format, std::int32_t bytes) {
    auto chunk = std::make_shared<IChnk>(size.width, size.height, format, 0, "");
    std::make_shared<FrameBuffers>()->allocatePixels(*chunk, bytes);
    const Bytes pixels = randomBytes(static_cast<std::size_t>(bytes), 1);
    std::copy(pixels.begin(), pixels.end(), chunk->data->lvl[0]);
    return chunk;
}

#if defined(LUMETRA_HAS_LIBYUV)
using PeerRun = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

Work wholePeer(FrameSize size, std::size_t bytesPerPixel, PeerRun convert) {
    const auto frame = std::make_shared<Bytes>(randomBytes(2 * bytesPerPixel * size.pixels(), 1));
    const auto grey = std::make_shared<Bytes>(2 * size.pixels());
    return [=] {
        const std::uint8_t* in = frame->data();
        std::uint8_t* out = grey->data();
        for (int k = 0; k < PYRAMID_LEVELS; ++k) {
            const int width = size.width >> k, height = size.height >> k;
            const int stride = static_cast<int>(bytesPerPixel) * width;
            convert(in, stride, out, width, width, -height);  // upside down
            in += stride * height;
            out += width * height;
        }
    };
}

Work derivedPeer(FrameSize size) {
    const auto picture = std::make_shared<Bytes>(randomBytes(2 * size.pixels(), 1));
    return [=] {
        std::uint8_t* in = picture->data();
        for (int k = 1; k < PYRAMID_LEVELS; ++k) {
            const int above = size.width >> (k - 1), aboveHeight = size.height >> (k - 1);
            std::uint8_t* const out = in + above * aboveHeight;
            libyuv::ScalePlane(in, above, above & ~1, aboveHeight & ~1, out, above / 2, above / 2,
                               aboveHeight / 2, libyuv::kFilterNone);
            in = out;
        }
    };
}
#endif

void compareWhole(const char* name, LUMETRA_IMGFORMATTYPE format, FrameSize size, const Work& peer) {
    const auto chunk = chunkOf(size, format, pyramidBytes(pictureBytes(format, size.width, size.height)));
    layOutLevels(*chunk);
    compare(
        std::string("conversion/") + name + "/" + size.name(),
        [=] {
            chunk->format = format;
            convert(*chunk, planConversion(*chunk, ALL, true));
        },
        peer);
}

const bool registered = [] {
    for (const FrameSize size : FRAME_SIZES) {
        Work rgb, bgr, bgra, derived;
#if defined(LUMETRA_HAS_LIBYUV)
        rgb = wholePeer(size, 3, libyuv::RAWToJ400);
        bgr = wholePeer(size, 3, libyuv::RGB24ToJ400);
        bgra = wholePeer(size, 4, libyuv::ARGBToJ400);
        derived = derivedPeer(size);
#endif
        compareWhole("rgb", LUMETRA_IMGFORMAT_RGB, size, rgb);
        compareWhole("bgr", LUMETRA_IMGFORMAT_BGR, size, bgr);
        compareWhole("bgra", LUMETRA_IMGFORMAT_BGRA, size, bgra);

        const auto chunk = chunkOf(size, LUMETRA_IMGFORMAT_GRAY8, static_cast<std::int32_t>(size.pixels()));
        compare(
            "decimation/" + size.name(), [=] { convert(*chunk, planConversion(*chunk, DERIVE, true)); },
            derived);
    }
    return true;
}();

}  // namespace
