// ffmpeg.h - the headers of FFmpeg's libraries, which are C, and owners for what these allocate.
#ifndef LUMETRA_PLAY_FFMPEG_H
#define LUMETRA_PLAY_FFMPEG_H

#include <memory>
#include <type_traits>

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

/// By a function that takes the pointer or, as most do, the pointer's address.
template <auto FREE>
struct FreedBy {
    template <class Thing>
    void operator()(Thing* thing) const {
        if constexpr (std::is_invocable_v<decltype(FREE), Thing*>)
            FREE(thing);
        else
            FREE(&thing);
    }
};

using FramePointer = std::unique_ptr<AVFrame, FreedBy<av_frame_free>>;
using PacketPointer = std::unique_ptr<AVPacket, FreedBy<av_packet_free>>;
using CodecPointer = std::unique_ptr<AVCodecContext, FreedBy<avcodec_free_context>>;
using ScalerPointer = std::unique_ptr<SwsContext, FreedBy<sws_freeContext>>;
using FormatPointer = std::unique_ptr<AVFormatContext, FreedBy<avformat_close_input>>;

#endif
