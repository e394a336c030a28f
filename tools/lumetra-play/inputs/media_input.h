// media_input.h - one file, URL, device or pipe, opened, demultiplexed and decoded by FFmpeg's libraries. One
// thread; whatever waits there ends with the stop request.
#ifndef LUMETRA_PLAY_MEDIA_INPUT_H
#define LUMETRA_PLAY_MEDIA_INPUT_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "tools/lumetra-play/inputs/frame_source.h"

/// Frees by a function that takes the pointer's address.
template <auto FREE>
struct FreedBy {
    template <class Thing>
    void operator()(Thing* thing) const {
        FREE(&thing);
    }
};
using FramePointer = std::unique_ptr<AVFrame, FreedBy<av_frame_free>>;

class MediaInput {
public:
    /// @throws PlayError if it cannot be opened or holds no video; EndedEarly
    MediaInput(const std::string& name, const Options& options, const StopRequest& stop);
    ~MediaInput();

    /// The next picture, which is there until the next call; null at the end.
    const AVFrame* read();
    /// From the beginning of the stream.
    double secondsOf(const AVFrame& frame) const;
    /// The first picture at or behind that time; null if there is none. Before any read().
    const AVFrame* readFrom(double seconds);

    /// Pixels, size and rotation are those of the last picture.
    const SourceFacts& facts() const { return m_facts; }
    bool isPipe() const;  ///< what was read is gone
    /// After the end: what was missing or broken; empty if nothing was.
    std::string damage() const;

private:
    struct ByteStream;

    void refuseContainer();
    void open(const Options& options);
    std::string explain(int error, const Options& options) const;
    void chooseStream();
    void openDecoder();
    bool feedDecoder();
    bool seek(double seconds);

    const StopRequest& m_stop;
    SourceFacts m_facts;
    std::unique_ptr<ByteStream> m_bytes;  // outlives the format; null: FFmpeg reads itself
    std::unique_ptr<AVFormatContext, FreedBy<avformat_close_input>> m_format;
    std::unique_ptr<AVCodecContext, FreedBy<avcodec_free_context>> m_codec;
    std::unique_ptr<AVPacket, FreedBy<av_packet_free>> m_packet;
    FramePointer m_frame;
    AVStream* m_stream = nullptr;  // the format's
    bool m_drained = false;
    int m_brokenPackets = 0, m_brokenFrames = 0;
    int m_readError = 0;
    std::int64_t m_readTo = 0;  // bytes of the input, up to the last packet's end
    double m_end = 0;           // of the last frame, from the beginning of the stream
};

#endif
