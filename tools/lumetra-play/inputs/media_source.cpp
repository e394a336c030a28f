// media_source.cpp - whatever FFmpeg's libraries can open, one input after the other, as frames of one
// picture: scaled and converted by libswscale where they have to be, turned upright, without padding.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include "tools/lumetra-play/inputs/media_input.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

const AVPixFmtDescriptor& descriptorOf(const AVFrame& frame) {
    const auto* const known = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (known == nullptr) throw PlayError("the source's pixel format is unknown: convert it by ffmpeg");
    return *known;
}

// A palette's entries are RGB too.
bool isRgb(const AVPixFmtDescriptor& pixels) {
    return (pixels.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

bool isGrey(const AVPixFmtDescriptor& pixels) {
    return pixels.nb_components <= 2 && !isRgb(pixels);
}

LUMETRA_IMGFORMATTYPE cheapestFormat(const AVFrame& frame, int rotation) {
    const AVPixFmtDescriptor& pixels = descriptorOf(frame);
    if (isGrey(pixels)) return LUMETRA_IMGFORMAT_GRAY8;
    const bool packed = frame.format == AV_PIX_FMT_YUYV422 || frame.format == AV_PIX_FMT_UYVY422;
    if (packed) return rotation == 0 ? LUMETRA_IMGFORMAT_YUYV : LUMETRA_IMGFORMAT_RGB;
    if (frame.format == AV_PIX_FMT_BGR0) return LUMETRA_IMGFORMAT_BGRA;
    return formatByName(pixels.name).value_or(LUMETRA_IMGFORMAT_RGB);
}

class FramePacker {
public:
    /// @param target    of the packed frames, after the rotation
    /// @param rotation  0, 90, 180 or 270 degrees clockwise
    /// @throws PlayError for a rotation of packed pixels, which do not stand alone
    FramePacker(const Picture& target, int rotation)
        : m_unturned(target), m_pixels(av_get_pix_fmt(mediaName(target.format))), m_rotation(rotation) {
        if (rotation != 0 && target.format == LUMETRA_IMGFORMAT_YUYV)
            throw PlayError(
                "a clip that is turned upright cannot be pushed as yuyv: choose another --format");
        if (rotation % 180 != 0) std::swap(m_unturned.width, m_unturned.height);
    }

    /// Replaces `packed` by level 0. @throws PlayError if libswscale does not know the frame's pixels
    void pack(const AVFrame& frame, Bytes& packed) {
        const AVFrame& source = goesAsItIs(frame) ? frame : scale(frame);
        const auto pixel = static_cast<std::ptrdiff_t>(bytesPerPixel(m_unturned.format));
        const std::uint8_t* corner = source.data[0];
        std::ptrdiff_t right = pixel, down = source.linesize[0];
        std::ptrdiff_t height = m_unturned.height, width = m_unturned.width;
        // A quarter turn clockwise begins at the lower left, its right was up, and its down was right.
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

    /// What pack() does to such frames, in words.
    std::string describe(const AVFrame& frame) const {
        const std::string text = !goesAsItIs(frame) ? "by libswscale"
                                 : m_pixels == AV_PIX_FMT_GRAY8 && frame.format != m_pixels
                                     ? "the Y plane without a conversion"
                                     : "without a conversion";
        return m_rotation == 0 ? text : text + ", turned upright";
    }

private:
    bool goesAsItIs(const AVFrame& frame) const {
        if (frame.width != m_unturned.width || frame.height != m_unturned.height) return false;
        const AVPixFmtDescriptor& pixels = descriptorOf(frame);
        const bool lumaPlane = !isRgb(pixels) && pixels.comp[0].step == 1 && pixels.comp[0].depth == 8;
        return frame.format == m_pixels || (m_pixels == AV_PIX_FMT_GRAY8 && lumaPlane) ||
               (m_pixels == AV_PIX_FMT_BGRA && frame.format == AV_PIX_FMT_BGR0);
    }

    const AVFrame& scale(const AVFrame& frame) {
        const std::tuple layout(frame.format, frame.width, frame.height, frame.color_range, frame.colorspace);
        if (layout != m_scaledFrom) makeScaler(frame);
        m_scaledFrom = layout;
        if (sws_scale_frame(m_scaler.get(), m_scaled.get(), &frame) < 0)
            throw PlayError("libswscale fails at a frame: convert the source by ffmpeg");
        return *m_scaled;
    }

    // What the camera measured as luma stays what it was: neither matrix nor range change between two kinds
    // of YUV. Grey is the Y plane of such a kind, since to libswscale grey itself always has the full range.
    void makeScaler(const AVFrame& frame) {
        const AVPixFmtDescriptor& pixels = descriptorOf(frame);
        const bool yuv = !isRgb(pixels), grey = isGrey(pixels), toGrey = m_pixels == AV_PIX_FMT_GRAY8;
        m_scaler.reset(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                      m_unturned.width, m_unturned.height,
                                      toGrey && yuv && !grey ? AV_PIX_FMT_YUV420P : m_pixels, SWS_BICUBIC,
                                      nullptr, nullptr, nullptr));
        m_scaled.reset(av_frame_alloc());
        if (!m_scaler || !m_scaled)
            throw PlayError(std::string("libswscale cannot convert ") + pixels.name +
                            ": convert the source by ffmpeg");
        const bool full = grey || frame.color_range == AVCOL_RANGE_JPEG ||
                          std::string_view(pixels.name).starts_with("yuvj");
        const bool fullAfter = yuv ? full : toGrey;
        const int* const matrix = sws_getCoefficients(yuv ? frame.colorspace : SWS_CS_DEFAULT);
        constexpr int ONE = 1 << 16;
        sws_setColorspaceDetails(m_scaler.get(), matrix, full, matrix, fullAfter, 0, ONE, ONE);
    }

    Picture m_unturned;  // before the rotation
    const AVPixelFormat m_pixels;
    const int m_rotation;
    std::unique_ptr<SwsContext, decltype(&sws_freeContext)> m_scaler{nullptr, sws_freeContext};
    std::tuple<int, int, int, AVColorRange, AVColorSpace> m_scaledFrom{};  // format, width, height and so on
    FramePointer m_scaled;
};

class MediaSource : public FrameSource {
public:
    MediaSource(const Options& options, const StopRequest& stop) : m_options(options), m_stop(stop) {
        // A numbered series is a name for many.
        for (const std::string& input : options.inputs)
            if (options.inputFormat.empty() && isPath(input) && input.find('%') == std::string::npos &&
                !std::filesystem::exists(input))
                throw systemError("cannot open " + input, ENOENT, "check the path");
        m_waiting = openNext();
        m_facts = m_input->facts();
        if (m_waiting == nullptr) refuseEmpty();
        if (options.inputs.size() > 1)
            m_facts.name += " and " + std::to_string(options.inputs.size() - 1) + " more";
        m_picture = {LUMETRA_IMGFORMAT_RGB, m_waiting->width, m_waiting->height};
        if (m_facts.rotation % 180 != 0) std::swap(m_picture.width, m_picture.height);
        if (options.size && options.raw.empty())
            m_picture = {LUMETRA_IMGFORMAT_RGB, options.size->width, options.size->height};
        m_picture.format = options.format.value_or(cheapestFormat(*m_waiting, m_facts.rotation));
        requireUsableSize(m_picture);
        m_packer.emplace(m_picture, m_facts.rotation);
        m_facts.conversion = m_packer->describe(*m_waiting);
    }

    bool read(Bytes& frame, double& seconds) override try {
        while (m_waiting == nullptr) {
            m_waiting = m_input->read();
            if (m_waiting == nullptr && !advance()) return false;
        }
        if (!m_packer) m_packer.emplace(m_picture, m_input->facts().rotation);
        m_packer->pack(*m_waiting, frame);
        seconds = steadyTime(m_input->secondsOf(*m_waiting));
        m_waiting = nullptr;
        return true;
    } catch (const EndedEarly&) {
        return false;  // what has been played is something to report
    } catch (const PlayError& error) {
        m_facts.error = error.what();
        return false;
    }

private:
    // The first picture of the next input, if it has any.
    const AVFrame* openNext() {
        m_input.reset();  // a device can be opened once only
        m_packer.reset();
        m_input = std::make_unique<MediaInput>(m_options.inputs[m_next++], m_options, m_stop);
        return m_options.start > 0 && !m_input->facts().live ? m_input->readFrom(m_options.start)
                                                             : m_input->read();
    }

    [[noreturn]] void refuseEmpty() const {
        if (m_stop.requested()) throw EndedEarly(m_stop.interrupted());
        const std::string& name = m_facts.name;
        if (m_facts.container.starts_with("mov") && m_input->isPipe())
            throw PlayError(name +
                            " is an MP4 with its index at the end, and a pipe cannot go back: "
                            "name the file, or make it by ffmpeg with -movflags +faststart");
        const std::string damage = m_input->damage();
        if (m_options.start > 0 && damage.empty())
            throw PlayError("--start is behind the end of " + name + ": choose an earlier one");
        throw PlayError(name + " holds no whole frame" + (damage.empty() ? "" : " (" + damage + ")") +
                        ": get the whole file" +
                        (!m_options.raw.empty() ? ", or check --size and --raw against it" : ""));
    }

    // From an input that has ended to the next one, if there is one.
    bool advance() {
        if (m_facts.remark.empty()) m_facts.remark = m_input->damage();
        if (m_stop.requested()) return false;
        if (m_next == m_options.inputs.size()) {
            const bool canBeginAgain = m_options.loop && m_options.inputs[0] != "-" && !m_facts.live;
            if (!canBeginAgain || std::isinf(m_last)) return false;
            m_next = 0;
        }
        m_waiting = openNext();
        return true;
    }

    // Times begin again with every input, and some streams jump back: the next frame follows by a period.
    double steadyTime(double seconds) {
        constexpr double USUAL_RATE = 30;
        const double rate = m_facts.framesPerSecond > 0 ? m_facts.framesPerSecond : USUAL_RATE;
        if (seconds + m_shift <= m_last) m_shift = m_last + 1 / rate - seconds;
        return m_last = seconds + m_shift;
    }

    const Options m_options;
    const StopRequest& m_stop;
    std::size_t m_next = 0;  // of the inputs
    std::unique_ptr<MediaInput> m_input;
    const AVFrame* m_waiting = nullptr;  // decoded already, to know the picture
    std::optional<FramePacker> m_packer;
    double m_shift = 0, m_last = -std::numeric_limits<double>::infinity();  // of the frames' times
};

}  // namespace

std::unique_ptr<FrameSource> openMedia(const Options& options, const StopRequest& stop) {
    return std::make_unique<MediaSource>(options, stop);
}
