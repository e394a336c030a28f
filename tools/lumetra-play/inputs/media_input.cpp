// media_input.cpp - FFmpeg's calls in their order, and what their failures mean to a person.
#include "tools/lumetra-play/inputs/media_input.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <thread>
#include <utility>

#include "tools/lumetra-play/inputs/frame_packer.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::mutex lastMessageMutex;
std::string lastMessage;  // of FFmpeg's errors, guarded by the mutex above

void onMessage(void* context, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR) return;
    char text[512];
    int prefix = 0;
    av_log_format_line2(context, level, format, arguments, text, sizeof text, &prefix);
    std::string message = text;
    if (const auto bracket = message.find("] "); message.starts_with("[") && bracket != std::string::npos)
        message.erase(0, bracket + 2);
    while (!message.empty() && message.back() == '\n') message.pop_back();
    output::showLog("FFmpeg: " + message);
    const std::lock_guard lock(lastMessageMutex);
    lastMessage = message;
}

std::string takeLastMessage() {
    const std::lock_guard lock(lastMessageMutex);
    return std::exchange(lastMessage, {});
}

void prepareLibraries() {
    static const bool once = [] {
        av_log_set_callback(onMessage);
        avdevice_register_all();
        avformat_network_init();
        return true;
    }();
    static_cast<void>(once);
}

std::string errorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

constexpr const char* RAW_HINT = "for raw video say --raw PIXELS --size WxH";

// Inputs that only their bytes describe; FFmpeg's own readers of devices and URLs know better.
bool isByteStream(const std::string& name, const Options& options) {
    if (name == "-" || !options.raw.empty()) return true;
    struct stat status {};
    if (!options.inputFormat.empty() || stat(name.c_str(), &status) != 0) return false;
    return S_ISFIFO(status.st_mode) || (S_ISCHR(status.st_mode) && !name.starts_with("/dev/video"));
}

struct Dictionary {
    AVDictionary* entries = nullptr;

    ~Dictionary() { av_dict_free(&entries); }
    void set(const char* key, const std::string& value) { av_dict_set(&entries, key, value.c_str(), 0); }
};

const AVInputFormat* formatFor(const std::string& name, const Options& options) {
    const std::string wanted = !options.raw.empty()             ? "rawvideo"
                               : !options.inputFormat.empty()   ? options.inputFormat
                               : name.starts_with("/dev/video") ? "v4l2"
                                                                : "";
    if (wanted.empty()) return nullptr;
    const AVInputFormat* format = av_find_input_format(wanted.c_str());
    for (const AVInputFormat* device = nullptr; format == nullptr;) {
        device = av_input_video_device_next(device);
        if (device == nullptr)
            throw PlayError("--input-format " + wanted + " is unknown: ffmpeg -formats lists the names");
        if (wanted == device->name) format = device;
    }
    return format;
}

std::string rawPixels(const std::string& name) {
    const auto own = formatByName(name);
    std::string pixels = own ? mediaName(*own) : name;
    if (av_get_pix_fmt(pixels.c_str()) == AV_PIX_FMT_NONE)
        throw PlayError("--raw " + name + " is no pixel format: use one such as yuyv422, nv12 or rgb24");
    return pixels;
}

int rotationBy(const AVFrame& frame, const AVStream& stream) {
    const AVFrameSideData* const own = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    const void* matrix =
        own != nullptr ? own->data : av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix == nullptr) return 0;
    const double anticlockwise = av_display_rotation_get(static_cast<const std::int32_t*>(matrix));
    if (std::isnan(anticlockwise)) return 0;
    return static_cast<int>(std::lround(-anticlockwise / 90) % 4 + 4) % 4 * 90;
}

}  // namespace

MediaInput::MediaInput(const std::string& name, const Options& options, const StopRequest& stop)
    : m_name(name == "-" ? "standard input" : name), m_stop(stop) {
    prepareLibraries();
    struct stat status {};
    if (stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        throw PlayError(name + " is a folder: name the files in it, such as '" + name + "/%04d.png'");
    if (isByteStream(name, options)) m_bytes = std::make_unique<ByteStream>(name, stop);
    if (!options.raw.empty()) refuseContainer();
    open(options);
    chooseStream();
    openDecoder();
    m_packet.reset(av_packet_alloc());
    m_frame.reset(av_frame_alloc());
    if (!m_packet || !m_frame) throw std::bad_alloc();
}

void MediaInput::refuseContainer() {
    constexpr unsigned LOOKED_AT = 4096;  // bytes, which are read again afterwards
    const AVInputFormat* format = nullptr;
    const int score = av_probe_input_buffer2(m_bytes->context(), &format, "", nullptr, 0, LOOKED_AT);
    if (format != nullptr && score > AVPROBE_SCORE_MAX * 3 / 4)
        throw PlayError(m_name + " is not raw video (" + format->long_name + "): leave out --raw and --size");
}

void MediaInput::open(const Options& options) {
    Dictionary settings;
    const AVInputFormat* const wanted = formatFor(m_name, options);
    const bool described = !options.raw.empty() || (wanted != nullptr && (wanted->flags & AVFMT_NOFILE) != 0);
    if (!options.raw.empty()) settings.set("pixel_format", rawPixels(options.raw));
    if (described && options.size)
        settings.set("video_size",
                     std::to_string(options.size->width) + "x" + std::to_string(options.size->height));
    if (described && options.framesPerSecond.value_or(0) > 0)
        settings.set("framerate", std::to_string(*options.framesPerSecond));
    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr) throw std::bad_alloc();
    if (m_bytes) format->pb = m_bytes->context();
    format->interrupt_callback = {
        [](void* stop) { return static_cast<const StopRequest*>(stop)->requested() ? 1 : 0; },
        const_cast<StopRequest*>(&m_stop)};
    takeLastMessage();
    int result = avformat_open_input(&format, m_bytes ? "" : m_name.c_str(), wanted, &settings.entries);
    if (result >= 0) {
        m_format.reset(format);
        // A page of text is a film of letters to FFmpeg, and any bytes are something with a low score; but it
        // is modest about JPEG pictures one behind the other.
        const std::string_view found = format->iformat->name;
        const bool doubtful = format->probe_score <= AVPROBE_SCORE_RETRY && found != "mjpeg";
        const bool guess = wanted == nullptr && (doubtful || found == "tty");
        result = guess ? AVERROR_INVALIDDATA : avformat_find_stream_info(format, nullptr);
        if (guess) takeLastMessage();
    }
    if (m_stop.requested()) throw EndedEarly(m_stop.interrupted());
    if (result < 0) throw PlayError(explain(result, options));
}

std::string MediaInput::explain(int error, const Options& options) const {
    const std::string own = takeLastMessage();
    const std::string reason = " (" + (own.empty() ? errorText(error) : own) + "): ";
    if (error == AVERROR_PROTOCOL_NOT_FOUND || error == AVERROR_DEMUXER_NOT_FOUND)
        return "cannot open " + m_name + " (" + errorText(error) + "): this FFmpeg does not know how";
    if (error != AVERROR_INVALIDDATA && (error != AVERROR(EINVAL) || !options.inputFormat.empty()))
        return "cannot open " + m_name +
               (!options.inputFormat.empty() ? reason : " (" + errorText(error) + "): ") +
               "check the path or address";
    if (own.find("moov atom") != std::string::npos)
        return m_name + " is cut off" + reason + "its index is missing, get the whole file";
    return m_name + " is damaged or no video that FFmpeg knows" + reason + RAW_HINT;
}

void MediaInput::chooseStream() {
    const int index = av_find_best_stream(m_format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index >= 0) m_stream = m_format->streams[index];
    AVStream** const streams = m_format->streams;
    if (std::none_of(streams, streams + m_format->nb_streams,
                     [](const AVStream* stream) { return stream->codecpar->codec_id != AV_CODEC_ID_NONE; }))
        throw PlayError(m_name + " is cut off or empty (" + m_format->iformat->long_name +
                        " that describes no stream): get the whole file");
    const bool cover = m_stream != nullptr && (m_stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (m_stream == nullptr || cover)
        throw PlayError(m_name + " holds no video (" + m_format->iformat->long_name +
                        (cover ? " with a cover picture" : "") + "): name a file with moving pictures");
    for (unsigned k = 0; k < m_format->nb_streams; ++k)
        m_format->streams[k]->discard = m_format->streams[k] == m_stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

void MediaInput::openDecoder() {
    const AVCodec* const decoder = avcodec_find_decoder(m_stream->codecpar->codec_id);
    if (decoder == nullptr)
        throw PlayError(m_name + ": this FFmpeg cannot decode " +
                        avcodec_get_name(m_stream->codecpar->codec_id) + ", convert it to another codec");
    m_codec.reset(avcodec_alloc_context3(decoder));
    if (!m_codec) throw std::bad_alloc();
    avcodec_parameters_to_context(m_codec.get(), m_stream->codecpar);
    m_codec->pkt_timebase = m_stream->time_base;
    m_rate = av_q2d(av_guess_frame_rate(m_format.get(), m_stream, nullptr));
    if (!(m_rate > 0 && m_rate < 1e6)) m_rate = 0;  // 0/1 and 0/0 stand for unknown
    // Frames in several threads come later by as many frames, which a camera's viewer would see.
    m_codec->thread_count = isLive() ? 1 : LUMETRA_PLAY_DECODER_THREADS;
    if (const int result = avcodec_open2(m_codec.get(), decoder, nullptr); result < 0)
        throw PlayError(m_name + ": " + decoder->name + " cannot decode it (" + errorText(result) +
                        "): convert it to another codec");
}

const AVFrame* MediaInput::read() {
    while (!m_stop.requested()) {
        const int result = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (result >= 0) {
            if (m_frame->decode_error_flags != 0 || (m_frame->flags & AV_FRAME_FLAG_CORRUPT) != 0)
                ++m_brokenFrames;
            const double own = static_cast<double>(m_frame->pkt_duration) * av_q2d(m_stream->time_base);
            m_end = std::max(m_end, secondsOf(*m_frame) + std::max(own, m_rate > 0 ? 1 / m_rate : 0));
            return m_frame.get();
        }
        if (result == AVERROR_EOF) return nullptr;
        if (result != AVERROR(EAGAIN)) ++m_brokenPackets;
        if (!feedDecoder()) return nullptr;
    }
    return nullptr;
}

// Hands it one packet, or word of the end; false if there is nothing more to hand.
bool MediaInput::feedDecoder() {
    using namespace std::chrono_literals;
    if (m_drained) return false;
    const int result = av_read_frame(m_format.get(), m_packet.get());
    if (m_format->pb != nullptr && result >= 0) m_readTo = avio_tell(m_format->pb);
    if (result == AVERROR(EAGAIN)) return m_stop.waitUntil(StopRequest::Clock::now() + 1ms);
    if (result < 0) {
        if (result != AVERROR_EOF && result != AVERROR_EXIT) m_readError = result;
        m_drained = true;
        return avcodec_send_packet(m_codec.get(), nullptr) >= 0;
    }
    if (m_packet->stream_index == m_stream->index) {
        const bool broken = (m_packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        if (avcodec_send_packet(m_codec.get(), m_packet.get()) < 0 || broken) ++m_brokenPackets;
    }
    av_packet_unref(m_packet.get());
    return true;
}

double MediaInput::secondsOf(const AVFrame& frame) const {
    const std::int64_t time = frame.best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) return m_end;
    const std::int64_t start = m_stream->start_time == AV_NOPTS_VALUE ? 0 : m_stream->start_time;
    return static_cast<double>(time - start) * av_q2d(m_stream->time_base);
}

const AVFrame* MediaInput::readFrom(double seconds) {
    constexpr double ROUNDING = 0.001;
    const AVFrame* frame = nullptr;
    // Some containers go to a place from which the decoder has to wait for the next key frame.
    for (double back = 0;; back = 3 * back + 2) {
        const bool fromTheBeginning = back >= seconds;
        const bool moved = (fromTheBeginning && seek(-1)) || seek(std::max(0.0, seconds - back));
        frame = read();
        const bool early = frame != nullptr && secondsOf(*frame) <= seconds + ROUNDING;
        if (early || !moved || fromTheBeginning) break;
    }
    while (frame != nullptr && secondsOf(*frame) < seconds - ROUNDING) frame = read();
    m_brokenPackets = m_brokenFrames = 0;  // of pictures before that place
    return frame;
}

bool MediaInput::seek(double seconds) {
    const std::int64_t start = m_stream->start_time == AV_NOPTS_VALUE ? 0 : m_stream->start_time;
    const auto time = start + std::llround(seconds / av_q2d(m_stream->time_base));
    if (av_seek_frame(m_format.get(), m_stream->index, time, AVSEEK_FLAG_BACKWARD) < 0) return false;
    avcodec_flush_buffers(m_codec.get());
    m_drained = false;
    m_end = 0;
    return true;
}

SourceFacts MediaInput::facts() const {
    SourceFacts facts;
    facts.name = m_name;
    facts.container = m_format->iformat->name;
    facts.codec = avcodec_get_name(m_codec->codec_id);
    const char* const pixels = av_get_pix_fmt_name(m_codec->pix_fmt);
    facts.pixels = pixels == nullptr ? "" : pixels;
    facts.width = m_codec->width;
    facts.height = m_codec->height;
    if (m_frame) facts.rotation = rotationBy(*m_frame, *m_stream);
    facts.framesPerSecond = m_rate;
    return facts;
}

bool MediaInput::isLive() const {
    const AVClass* const kind = m_format->iformat->priv_class;
    const std::string_view name = m_format->iformat->name;
    return (kind != nullptr && kind->category == AV_CLASS_CATEGORY_DEVICE_VIDEO_INPUT) || name == "rtsp" ||
           name == "sdp" || name == "rtp" || m_name.starts_with("udp:") || m_name.starts_with("srt:");
}

bool MediaInput::isPipe() const {
    return m_bytes && (m_bytes->context()->seekable & AVIO_SEEKABLE_NORMAL) == 0;
}

std::string MediaInput::damage() const {
    if (m_stop.requested()) return {};
    constexpr double TOLERANCE = 0.5;
    const double length = m_stream->duration != AV_NOPTS_VALUE
                              ? static_cast<double>(m_stream->duration) * av_q2d(m_stream->time_base)
                          : m_format->nb_streams == 1 && m_format->duration != AV_NOPTS_VALUE &&
                                  m_format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE
                              ? static_cast<double>(m_format->duration) / AV_TIME_BASE
                              : 0;
    char ends[64] = "";
    if (length > 0 && m_end + TOLERANCE < length)
        std::snprintf(ends, sizeof ends, "it ends after %.1f of %.1f s", m_end, length);
    std::string text = ends;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    // This reader takes a part of a frame for the end.
    if (std::string_view(m_format->iformat->name) == "yuv4mpegpipe" && avio_tell(m_format->pb) > m_readTo)
        add("the last frame is not whole");
    if (m_readError != 0) add("reading failed (" + errorText(m_readError) + ")");
    if (m_brokenPackets > 0) add(std::to_string(m_brokenPackets) + " broken packets");
    if (m_brokenFrames > 0) add(std::to_string(m_brokenFrames) + " frames decoded with errors");
    return text.empty() ? text : m_name + " is cut off or damaged: " + text;
}

bool opensFiles(const std::string& inputFormat) {
    prepareLibraries();
    for (const AVInputFormat* device = nullptr; (device = av_input_video_device_next(device)) != nullptr;)
        if (av_match_name(inputFormat.c_str(), device->name) != 0) return false;
    return true;
}

std::string inputLibraries() {
    const auto version = [](const char* name, unsigned number) {
        return std::string(name) + " " + std::to_string(number >> 16) + "." +
               std::to_string(number >> 8 & 255);
    };
    return "FFmpeg " + std::string(av_version_info()) + " (" + version("libavformat", avformat_version()) +
           ", " + version("libavcodec", avcodec_version()) + ")";
}
