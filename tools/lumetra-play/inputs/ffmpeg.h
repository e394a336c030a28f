// ffmpeg.h - the headers of FFmpeg's libraries, which are C, and owners for what these allocate.
#ifndef LUMETRA_PLAY_FFMPEG_H
#define LUMETRA_PLAY_FFMPEG_H

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

/// By a function that takes the pointer's address.
template <auto FREE>
struct FreedBy {
    template <class Thing>
    void operator()(Thing* thing) const {
        FREE(&thing);
    }
};

using FramePointer = std::unique_ptr<AVFrame, FreedBy<av_frame_free>>;
using PacketPointer = std::unique_ptr<AVPacket, FreedBy<av_packet_free>>;
using CodecPointer = std::unique_ptr<AVCodecContext, FreedBy<avcodec_free_context>>;
using FormatPointer = std::unique_ptr<AVFormatContext, FreedBy<avformat_close_input>>;

#endif
