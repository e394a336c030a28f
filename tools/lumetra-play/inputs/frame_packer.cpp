// frame_packer.cpp - one plane of pixels at the end, whatever came.
#include "tools/lumetra-play/inputs/frame_packer.h"

#include <algorithm>
#include <utility>

#include "tools/lumetra-play/run/play_error.h"

namespace {

AVPixelFormat mediaFormat(LUMETRA_IMGFORMATTYPE format) {
    return av_get_pix_fmt(mediaName(format));
}

const AVPixFmtDescriptor& descriptorOf(int pixels) {
    const AVPixFmtDescriptor* const known = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(pixels));
    if (known == nullptr) throw PlayError("the source's pixel format is unknown: convert it by ffmpeg");
    return *known;
}

// Palettes hold it too.
bool isRgb(const AVPixFmtDescriptor& pixels) {
    return (pixels.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

bool isGrey(const AVPixFmtDescriptor& pixels) {
    return pixels.nb_components <= 2 && !isRgb(pixels);
}

// Whether plane 0 holds nothing but the luma, a byte a pixel.
bool hasLumaPlane(const AVPixFmtDescriptor& pixels) {
    constexpr std::uint64_t OTHER =
        AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;
    const AVComponentDescriptor& luma = pixels.comp[0];
    return !isRgb(pixels) && (pixels.flags & OTHER) == 0 && luma.plane == 0 && luma.step == 1 &&
           luma.offset == 0 && luma.depth == 8 && luma.shift == 0;
}

}  // namespace

FramePacker::FramePacker(const Picture& target, int rotation) : m_unturned(target), m_rotation(rotation) {
    if (rotation != 0 && target.format == LUMETRA_IMGFORMAT_YUYV)
        throw PlayError("a clip that is turned upright cannot be pushed as yuyv: choose another --format");
    if (rotation % 180 != 0) std::swap(m_unturned.width, m_unturned.height);
}

void FramePacker::pack(const AVFrame& frame, Bytes& packed) {
    const AVFrame& source = goesAsItIs(frame) ? frame : scale(frame);
    const auto pixel = static_cast<std::ptrdiff_t>(bytesPerPixel(m_unturned.format));
    const std::uint8_t* corner = source.data[0];
    std::ptrdiff_t right = pixel, down = source.linesize[0];
    std::ptrdiff_t height = m_unturned.height, width = m_unturned.width;
    // A quarter turn clockwise begins at the lower left; it goes right by what was up, down by what was
    // right.
    for (int turned = 0; turned < m_rotation; turned += 90) {
        corner += (height - 1) * down;
        right = -std::exchange(down, right);
        std::swap(width, height);
    }
    packed.resize(m_unturned.bytes());
    std::uint8_t* out = packed.data();
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const std::uint8_t* const row = corner + y * down;
        if (m_rotation == 0)
            out = std::copy_n(row, width * pixel, out);
        else
            for (std::ptrdiff_t x = 0; x < width; ++x) out = std::copy_n(row + x * right, pixel, out);
    }
}

std::string FramePacker::describe(const AVFrame& frame) const {
    const char* const turned = m_rotation == 0 ? "" : ", turned upright";
    if (!goesAsItIs(frame)) return std::string("by libswscale") + turned;
    const bool plane = m_unturned.format == LUMETRA_IMGFORMAT_GRAY8 && frame.format != AV_PIX_FMT_GRAY8;
    return (plane ? "the Y plane without a conversion" : "without a conversion") + std::string(turned);
}

bool FramePacker::goesAsItIs(const AVFrame& frame) const {
    if (frame.width != m_unturned.width || frame.height != m_unturned.height) return false;
    return frame.format == mediaFormat(m_unturned.format) ||
           (m_unturned.format == LUMETRA_IMGFORMAT_BGRA && frame.format == AV_PIX_FMT_BGR0) ||
           (m_unturned.format == LUMETRA_IMGFORMAT_GRAY8 && hasLumaPlane(descriptorOf(frame.format)));
}

const AVFrame& FramePacker::scale(const AVFrame& frame) {
    const Layout layout{frame.format, frame.width, frame.height, frame.color_range, frame.colorspace};
    if (layout != m_scaledFrom) makeScaler(frame);
    m_scaledFrom = layout;
    if (sws_scale_frame(m_scaler.get(), m_scaled.get(), &frame) < 0) throw std::bad_alloc();
    return *m_scaled;
}

// What the camera measured as luma stays what it was: neither matrix nor range change between two kinds of
// YUV. Grey is the Y plane of such a kind, since to libswscale grey itself always has the full range.
void FramePacker::makeScaler(const AVFrame& frame) {
    const AVPixFmtDescriptor& pixels = descriptorOf(frame.format);
    const bool yuv = !isRgb(pixels), grey = isGrey(pixels),
               toGrey = m_unturned.format == LUMETRA_IMGFORMAT_GRAY8;
    const AVPixelFormat format = toGrey && yuv && !grey ? AV_PIX_FMT_YUV420P : mediaFormat(m_unturned.format);
    m_scaler.reset(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                  m_unturned.width, m_unturned.height, format, SWS_BICUBIC, nullptr, nullptr,
                                  nullptr));
    m_scaled.reset(av_frame_alloc());
    if (!m_scaler || !m_scaled)
        throw PlayError(std::string("libswscale cannot convert ") + pixels.name +
                        ": convert the source by ffmpeg");
    const bool full =
        grey || frame.color_range == AVCOL_RANGE_JPEG || std::string_view(pixels.name).starts_with("yuvj");
    const bool fullAfter = yuv ? full : toGrey;
    const int* const usual = sws_getCoefficients(SWS_CS_DEFAULT);
    const int* const matrix =
        yuv && frame.colorspace != AVCOL_SPC_UNSPECIFIED ? sws_getCoefficients(frame.colorspace) : usual;
    constexpr int ONE = 1 << 16;
    sws_setColorspaceDetails(m_scaler.get(), matrix, full, yuv ? matrix : usual, fullAfter, 0, ONE, ONE);
}

LUMETRA_IMGFORMATTYPE cheapestFormat(int pixels, int rotation) {
    const AVPixFmtDescriptor& known = descriptorOf(pixels);
    if (isGrey(known)) return LUMETRA_IMGFORMAT_GRAY8;
    const bool packed = pixels == AV_PIX_FMT_YUYV422 || pixels == AV_PIX_FMT_UYVY422;
    if (packed) return rotation == 0 ? LUMETRA_IMGFORMAT_YUYV : LUMETRA_IMGFORMAT_RGB;
    if (pixels == AV_PIX_FMT_BGR0) return LUMETRA_IMGFORMAT_BGRA;
    return formatByName(known.name).value_or(LUMETRA_IMGFORMAT_RGB);
}
