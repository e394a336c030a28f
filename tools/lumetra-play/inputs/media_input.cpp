// media_input.cpp - FFmpeg's calls in their order, and what their failures mean to a person.
#include "tools/lumetra-play/inputs/media_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <span>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

// Of FFmpeg's errors. Only a call's own thread says why the call failed.
thread_local std::string lastMessage;

void onMessage(void*, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    lastMessage.assign(text, std::strcspn(text, "\n"));
    output::showLog("FFmpeg: " + lastMessage);
}

void prepareLibraries() {
    av_log_set_callback(onMessage);
    avdevice_register_all();
    avformat_network_init();
}

std::string errorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE];
    return av_make_error_string(text, sizeof text, error);
}

// Inputs that only their bytes describe; FFmpeg's own readers of devices and URLs know better.
bool isByteStream(const std::string& name, const Options& options) {
    if (name == "-" || !options.raw.empty()) return true;
    if (!options.inputFormat.empty() || name.starts_with("/dev/video")) return false;
    std::error_code ignored;
    return std::filesystem::is_fifo(name, ignored) || std::filesystem::is_character_file(name, ignored);
}

// A pipe is opened without waiting for its writer: that is what the stop request can interrupt.
int openForReading(const std::string& name) {
    if (name != "-") {
        const int file = ::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (file < 0) throw systemError("cannot open " + name, errno, "check the path");
        return file;
    }
    const int mode = fcntl(STDIN_FILENO, F_GETFL);
    const bool closed = mode < 0 || (mode & O_ACCMODE) == O_WRONLY;
    if (closed || isatty(STDIN_FILENO) == 1)
        throw PlayError(std::string("standard input is ") + (closed ? "closed" : "a terminal") +
                        ": pipe a video into it, or name a file instead of -");
    return fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
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
    const AVInputFormat* const format = av_find_input_format(wanted.c_str());
    if (format == nullptr && !wanted.empty())
        throw PlayError("--input-format " + wanted + " is unknown: ffmpeg -formats lists the names");
    return format;
}

std::string rawPixels(const std::string& name) {
    const auto own = formatByName(name);
    std::string pixels = own ? mediaName(*own) : name;
    if (av_get_pix_fmt(pixels.c_str()) == AV_PIX_FMT_NONE)
        throw PlayError("--raw " + name + " is no pixel format: use one such as yuyv422, nv12 or rgb24");
    return pixels;
}

bool isLive(const std::string& name, const AVInputFormat& format) {
    const bool device =
        format.priv_class != nullptr && format.priv_class->category == AV_CLASS_CATEGORY_DEVICE_VIDEO_INPUT;
    const std::string_view reader = format.name;
    return device || reader == "rtsp" || reader == "sdp" || reader == "rtp" || name.starts_with("udp:") ||
           name.starts_with("srt:");
}

// Degrees clockwise.
int rotationBy(const AVFrame& frame, const AVStream& stream) {
    const AVFrameSideData* const own = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    const void* matrix =
        own != nullptr ? own->data : av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix == nullptr) return 0;
    const double anticlockwise = av_display_rotation_get(static_cast<const std::int32_t*>(matrix));
    return std::isnan(anticlockwise) ? 0 : static_cast<int>(std::lround(-anticlockwise / 90) & 3) * 90;
}

}  // namespace

// Standard input, pipes and files as FFmpeg reads bytes, in waits that the stop request ends: FFmpeg's own
// reading of a pipe would not come back before somebody writes.
struct MediaInput::ByteStream {
    ByteStream(const std::string& name, const StopRequest& stopRequest)
        : stop(stopRequest), file(openForReading(name)) {
        constexpr int BUFFER_BYTES = 65536;
        const bool seekable = lseek(file, 0, SEEK_SET) == 0;
        auto* const buffer = static_cast<unsigned char*>(av_malloc(BUFFER_BYTES));
        context =
            avio_alloc_context(buffer, BUFFER_BYTES, 0, this, onRead, nullptr, seekable ? onSeek : nullptr);
        if (context == nullptr) throw std::bad_alloc();
    }
    ~ByteStream() {
        av_freep(&context->buffer);
        avio_context_free(&context);
        close(file);
    }
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    static int onRead(void* self, std::uint8_t* target, int count) {
        const auto& [stop, file, context] = *static_cast<ByteStream*>(self);
        while (stop.waitReadable(file)) {
            const ssize_t got = ::read(file, target, static_cast<std::size_t>(count));
            if (got > 0) return static_cast<int>(got);
            if (got == 0) return AVERROR_EOF;
            if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
        }
        return AVERROR_EXIT;
    }
    // lseek() refuses AVSEEK_SIZE; FFmpeg then seeks to the end to learn the size.
    static std::int64_t onSeek(void* self, std::int64_t offset, int origin) {
        const off_t place = lseek(static_cast<ByteStream*>(self)->file, offset, origin & ~AVSEEK_FORCE);
        return place < 0 ? AVERROR(errno) : place;
    }

    const StopRequest& stop;
    const int file;
    AVIOContext* context;
};

MediaInput::MediaInput(const std::string& name, const Options& options, const StopRequest& stop)
    : m_stop(stop), m_packet(av_packet_alloc()), m_frame(av_frame_alloc()) {
    if (!m_packet || !m_frame) throw std::bad_alloc();
    m_facts.name = name == "-" ? "standard input" : name;
    prepareLibraries();
    std::error_code ignored;
    if (std::filesystem::is_directory(name, ignored))
        throw PlayError(name + " is a folder: name the files in it, such as '" + name + "/%04d.png'");
    if (isByteStream(name, options)) m_bytes = std::make_unique<ByteStream>(name, stop);
    if (!options.raw.empty()) refuseContainer();
    open(options);
    chooseStream();
    openDecoder();
}

MediaInput::~MediaInput() = default;

void MediaInput::refuseContainer() {
    constexpr unsigned LOOKED_AT = 4096;  // bytes, which are read again afterwards
    const AVInputFormat* format = nullptr;
    const int score = av_probe_input_buffer2(m_bytes->context, &format, "", nullptr, 0, LOOKED_AT);
    if (format != nullptr && score > AVPROBE_SCORE_MAX * 3 / 4)
        throw PlayError(m_facts.name + " is not raw video (" + format->long_name +
                        "): leave out --raw and --size");
}

void MediaInput::open(const Options& options) {
    Dictionary settings;
    const AVInputFormat* const wanted = formatFor(m_facts.name, options);
    const bool described = !options.raw.empty() || (wanted != nullptr && (wanted->flags & AVFMT_NOFILE) != 0);
    if (!options.raw.empty()) settings.set("pixel_format", rawPixels(options.raw));
    if (described && options.size)
        settings.set("video_size",
                     std::to_string(options.size->width) + "x" + std::to_string(options.size->height));
    if (described && options.framesPerSecond.value_or(0) > 0)
        settings.set("framerate", std::to_string(*options.framesPerSecond));
    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr) throw std::bad_alloc();
    if (m_bytes) format->pb = m_bytes->context;
    format->interrupt_callback = {
        [](void* stop) { return static_cast<const StopRequest*>(stop)->requested() ? 1 : 0; },
        const_cast<StopRequest*>(&m_stop)};
    lastMessage.clear();
    int result = avformat_open_input(&format, m_bytes ? "" : m_facts.name.c_str(), wanted, &settings.entries);
    m_format.reset(format);  // null after a failure
    if (result >= 0) {
        // A page of text is a film of letters to FFmpeg, and any bytes are something with a low score; but it
        // is modest about JPEG pictures one behind the other.
        const std::string_view found = format->iformat->name;
        const bool doubtful = format->probe_score <= AVPROBE_SCORE_RETRY && found != "mjpeg";
        const bool guess = wanted == nullptr && (doubtful || found == "tty");
        if (guess) lastMessage.clear();
        result = guess ? AVERROR_INVALIDDATA : avformat_find_stream_info(format, nullptr);
    }
    if (m_stop.requested()) throw EndedEarly(m_stop.interrupted());
    if (result < 0) throw PlayError(explain(result, options));
}

std::string MediaInput::explain(int error, const Options& options) const {
    const bool described = !options.inputFormat.empty();
    const bool invalid = error == AVERROR_INVALIDDATA || (error == AVERROR(EINVAL) && !described);
    // Of paths and addresses the error says as much, without what FFmpeg made of them.
    const bool inItsWords = (invalid || described) && !lastMessage.empty();
    const std::string reason = " (" + (inItsWords ? lastMessage : errorText(error)) + "): ";
    const bool unknown = error == AVERROR_PROTOCOL_NOT_FOUND || error == AVERROR_DEMUXER_NOT_FOUND;
    if (!invalid)
        return "cannot open " + m_facts.name + reason +
               (unknown ? "this FFmpeg does not know how" : "check the path or address");
    if (lastMessage.find("moov atom") != std::string::npos)
        return m_facts.name + " is cut off" + reason + "its index is missing, get the whole file";
    return m_facts.name + " is damaged or no video that FFmpeg knows" + reason +
           "for raw video say --raw PIXELS --size WxH";
}

void MediaInput::chooseStream() {
    const std::span<AVStream*> streams(m_format->streams, m_format->nb_streams);
    if (std::none_of(streams.begin(), streams.end(),
                     [](const AVStream* stream) { return stream->codecpar->codec_id != AV_CODEC_ID_NONE; }))
        throw PlayError(m_facts.name + " is cut off or empty (" + m_format->iformat->long_name +
                        " that describes no stream): get the whole file");
    const int index = av_find_best_stream(m_format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    m_stream = index < 0 ? nullptr : m_format->streams[index];
    const bool cover = m_stream != nullptr && (m_stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (m_stream == nullptr || cover)
        throw PlayError(m_facts.name + " holds no video (" + m_format->iformat->long_name +
                        (cover ? " with a cover picture" : "") + "): name a file with moving pictures");
    for (AVStream* stream : streams) stream->discard = stream == m_stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

void MediaInput::openDecoder() {
    const AVCodecID codec = m_stream->codecpar->codec_id;
    const AVCodec* const decoder = avcodec_find_decoder(codec);
    m_codec.reset(avcodec_alloc_context3(decoder));
    if (!m_codec) throw std::bad_alloc();
    avcodec_parameters_to_context(m_codec.get(), m_stream->codecpar);
    m_codec->pkt_timebase = m_stream->time_base;
    const double rate = av_q2d(av_guess_frame_rate(m_format.get(), m_stream, nullptr));
    if (rate > 0 && rate < 1e6) m_facts.framesPerSecond = rate;  // 0/1 and 0/0 stand for unknown
    m_facts.live = isLive(m_facts.name, *m_format->iformat);
    // Frames in several threads come later by as many frames, which a camera's viewer would see.
    m_codec->thread_count = m_facts.live ? 1 : LUMETRA_PLAY_DECODER_THREADS;
    const int result =
        decoder == nullptr ? AVERROR_DECODER_NOT_FOUND : avcodec_open2(m_codec.get(), decoder, nullptr);
    if (result < 0)
        throw PlayError(m_facts.name + ": this FFmpeg cannot decode " + avcodec_get_name(codec) + " (" +
                        errorText(result) + "): convert it to another codec");
    m_facts.container = m_format->iformat->name;
    m_facts.codec = avcodec_get_name(codec);
}

const AVFrame* MediaInput::read() {
    while (!m_stop.requested()) {
        const int result = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (result >= 0) {
            if (m_frame->decode_error_flags != 0 || (m_frame->flags & AV_FRAME_FLAG_CORRUPT) != 0)
                ++m_brokenFrames;
            const double own = static_cast<double>(m_frame->pkt_duration) * av_q2d(m_stream->time_base);
            const double usual = m_facts.framesPerSecond > 0 ? 1 / m_facts.framesPerSecond : 0;
            m_end = std::max(m_end, secondsOf(*m_frame) + std::max(own, usual));
            m_facts.rotation = rotationBy(*m_frame, *m_stream);
            const char* const pixels = av_get_pix_fmt_name(static_cast<AVPixelFormat>(m_frame->format));
            if (pixels != nullptr) m_facts.pixels = pixels;
            m_facts.width = m_frame->width;
            m_facts.height = m_frame->height;
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

bool MediaInput::isPipe() const {
    return m_bytes && (m_bytes->context->seekable & AVIO_SEEKABLE_NORMAL) == 0;
}

std::string MediaInput::damage() const {
    if (m_stop.requested()) return {};
    constexpr double TOLERANCE = 0.5;
    double length = static_cast<double>(m_stream->duration) * av_q2d(m_stream->time_base);
    if (m_stream->duration == AV_NOPTS_VALUE && m_format->nb_streams == 1 &&
        m_format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE)
        length = static_cast<double>(m_format->duration) / AV_TIME_BASE;
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? ": " : ", ") + part; };
    if (m_end + TOLERANCE < length) {  // which is far below 0 where it is unknown
        char ends[64];
        std::snprintf(ends, sizeof ends, "it ends after %.1f of %.1f s", m_end, length);
        add(ends);
    }
    // This reader takes a part of a frame for the end.
    if (std::string_view(m_format->iformat->name) == "yuv4mpegpipe" && avio_tell(m_format->pb) > m_readTo)
        add("the last frame is not whole");
    if (m_readError != 0) add("reading failed (" + errorText(m_readError) + ")");
    if (m_brokenPackets > 0) add(std::to_string(m_brokenPackets) + " broken packets");
    if (m_brokenFrames > 0) add(std::to_string(m_brokenFrames) + " frames decoded with errors");
    return text.empty() ? text : m_facts.name + " is cut off or damaged" + text;
}

bool opensFiles(const std::string& inputFormat) {
    prepareLibraries();
    for (const AVInputFormat* device = nullptr; (device = av_input_video_device_next(device)) != nullptr;)
        if (av_match_name(inputFormat.c_str(), device->name) != 0) return false;
    return true;
}

std::string inputLibraries() {
    return "FFmpeg " + std::string(av_version_info());
}
