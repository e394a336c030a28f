// conversion_plain.cpp - where there is no libswscale: the formats that differ by the place of their
// channels.
#include "tools/lumetra-play/pixels/conversion.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

struct Channels {
    std::size_t red, green, blue;  // byte of a pixel
};

Channels channelsOf(LUMETRA_IMGFORMATTYPE format) {
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
            return {0, 1, 2};
        case LUMETRA_IMGFORMAT_BGR:
        case LUMETRA_IMGFORMAT_BGRA:
            return {2, 1, 0};
        case LUMETRA_IMGFORMAT_GRAY8:
            return {0, 0, 0};
        default:
            throw PlayError(std::string(formatName(format)) +
                            " needs FFmpeg's libraries, which this program was built without: use rgb");
    }
}

}  // namespace

Bytes convertPixels(const Picture& picture, const Bytes& frame, LUMETRA_IMGFORMATTYPE format) {
    if (format == picture.format) return frame;
    const Channels from = channelsOf(picture.format), to = channelsOf(format);
    const std::size_t step = bytesPerPixel(picture.format), stepOut = bytesPerPixel(format);
    Bytes converted(picture.pixels(0) * stepOut, 255);
    const std::uint8_t* in = frame.data();
    for (std::size_t at = 0; at < converted.size(); at += stepOut, in += step) {
        const unsigned red = in[from.red], green = in[from.green], blue = in[from.blue];
        std::uint8_t* const out = &converted[at];
        out[to.red] = static_cast<std::uint8_t>(red);
        out[to.green] = static_cast<std::uint8_t>(green);
        out[to.blue] = static_cast<std::uint8_t>(blue);
        if (stepOut == 1)
            out[0] = static_cast<std::uint8_t>((299 * red + 587 * green + 114 * blue + 500) / 1000);
    }
    return converted;
}
