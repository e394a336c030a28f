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

bool isGrey(const AVPixFmtDescriptor& pixels) {
    return pixels.nb_components <= 2 && (pixels.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0;
}

// Whether plane 0 holds nothing but the luma, a byte a pixel.
bool hasLumaPlane(const AVPixFmtDescriptor& pixels) {
    constexpr std::uint64_t OTHER = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                    AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;
    const AVComponentDescriptor& luma = pixels.comp[0];
    return (pixels.flags & OTHER) == 0 && luma.plane == 0 && luma.step == 1 && luma.offset == 0 &&
           luma.depth == 8 && luma.shift == 0;
}

// What the camera measured as luma stays what it was: neither matrix nor range change between two kinds of
// YUV.
SwsContext* makeScaler(const AVFrame& frame, const AVFrame& scaled) {
    const AVPixFmtDescriptor& pixels = descriptorOf(frame.format);
    const bool yuv = (pixels.flags & AV_PIX_FMT_FLAG_RGB) == 0, toGrey = scaled.format == AV_PIX_FMT_GRAY8;
    // To libswscale grey has always the full range.
    const bool full = isGrey(pixels) || (yuv && toGrey) || frame.color_range == AVCOL_RANGE_JPEG ||
                      std::string_view(pixels.name).starts_with("yuvj");
    const bool fullAfter = yuv ? full : toGrey;
    SwsContext* const scaler = sws_alloc_context();
    if (scaler == nullptr) throw std::bad_alloc();
    for (const auto& [name, value] : {std::pair("srcw", frame.width),
                                      {"srch", frame.height},
                                      {"src_format", frame.format},
                                      {"src_range", full ? 1 : 0},
                                      {"dstw", scaled.width},
                                      {"dsth", scaled.height},
                                      {"dst_format", scaled.format},
                                      {"dst_range", fullAfter ? 1 : 0},
                                      {"sws_flags", SWS_BICUBIC}})
        av_opt_set_int(scaler, name, value, 0);
    const int* const usual = sws_getCoefficients(SWS_CS_DEFAULT);
    const int* const matrix =
        yuv && frame.colorspace != AVCOL_SPC_UNSPECIFIED ? sws_getCoefficients(frame.colorspace) : usual;
    constexpr int ONE = 1 << 16;
    if (sws_init_context(scaler, nullptr, nullptr) >= 0) {
        sws_setColorspaceDetails(scaler, matrix, full, yuv ? matrix : usual, fullAfter, 0, ONE, ONE);
        return scaler;
    }
    sws_freeContext(scaler);
    throw PlayError(std::string("libswscale cannot convert ") + pixels.name +
                    ": convert the source by ffmpeg");
}

struct Walk {
    std::ptrdiff_t first, right, down;  // bytes of the source: to the first pixel of the target, and onwards
};

Walk walkOf(int rotation, std::ptrdiff_t width, std::ptrdiff_t height, std::ptrdiff_t pixel,
            std::ptrdiff_t row) {
    switch (rotation) {
        case 90:
            return {(height - 1) * row, -row, pixel};
        case 180:
            return {(height - 1) * row + (width - 1) * pixel, -pixel, -row};
        case 270:
            return {(width - 1) * pixel, row, -pixel};
        default:
            return {0, pixel, row};
    }
}

Picture unturned(Picture target, int rotation) {
    if (rotation != 0 && target.format == LUMETRA_IMGFORMAT_YUYV)
        throw PlayError("a clip that is turned upright cannot be pushed as yuyv: choose another --format");
    if (rotation % 180 != 0) std::swap(target.width, target.height);
    return target;
}

}  // namespace

FramePacker::FramePacker(const Picture& target, int rotation)
    : m_target(target), m_rotation(rotation), m_unturned(unturned(target, rotation)) {}

FramePacker::~FramePacker() {
    sws_freeContext(m_scaler);
}

void FramePacker::pack(const AVFrame& frame, Bytes& packed) {
    const AVFrame& source = goesAsItIs(frame) ? frame : scale(frame);
    const auto pixel = static_cast<std::ptrdiff_t>(bytesPerPixel(m_unturned.format));
    const Walk walk = walkOf(m_rotation, m_unturned.width, m_unturned.height, pixel, source.linesize[0]);
    packed.resize(static_cast<std::size_t>(pixel) * m_unturned.pixels(0));
    std::uint8_t* out = packed.data();
    for (std::int32_t y = 0; y < m_target.height; ++y) {
        const std::uint8_t* in = source.data[0] + walk.first + y * walk.down;
        if (m_rotation == 0) {
            out = std::copy_n(in, pixel * m_target.width, out);
            continue;
        }
        for (std::int32_t x = 0; x < m_target.width; ++x, in += walk.right) out = std::copy_n(in, pixel, out);
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
    if (!m_scaled) {
        m_scaled.reset(av_frame_alloc());
        if (!m_scaled) throw std::bad_alloc();
        m_scaled->format = mediaFormat(m_unturned.format);
        m_scaled->width = m_unturned.width;
        m_scaled->height = m_unturned.height;
        if (av_frame_get_buffer(m_scaled.get(), 0) < 0) throw std::bad_alloc();
    }
    const Layout layout{frame.format, frame.width, frame.height, frame.color_range, frame.colorspace};
    if (m_scaler == nullptr || layout != m_scaledFrom) {
        sws_freeContext(std::exchange(m_scaler, nullptr));
        m_scaler = makeScaler(frame, *m_scaled);
        m_scaledFrom = layout;
    }
    sws_scale(m_scaler, frame.data, frame.linesize, 0, frame.height, m_scaled->data, m_scaled->linesize);
    return *m_scaled;
}

LUMETRA_IMGFORMATTYPE cheapestFormat(int pixels, int rotation) {
    const AVPixFmtDescriptor& known = descriptorOf(pixels);
    if (isGrey(known)) return LUMETRA_IMGFORMAT_GRAY8;
    const bool packed = pixels == AV_PIX_FMT_YUYV422 || pixels == AV_PIX_FMT_UYVY422;
    if (packed) return rotation == 0 ? LUMETRA_IMGFORMAT_YUYV : LUMETRA_IMGFORMAT_RGB;
    if (pixels == AV_PIX_FMT_BGR0) return LUMETRA_IMGFORMAT_BGRA;
    return formatByName(known.name).value_or(LUMETRA_IMGFORMAT_RGB);
}
