// byte_stream.h - standard input, pipes and files as FFmpeg reads bytes, in waits that the stop request ends.
// FFmpeg's own reading of a pipe would not come back before somebody writes. One thread.
#ifndef LUMETRA_PLAY_BYTE_STREAM_H
#define LUMETRA_PLAY_BYTE_STREAM_H

#include <cstdint>
#include <string>

#include "tools/lumetra-play/inputs/ffmpeg.h"
#include "tools/lumetra-play/run/stop_request.h"

class ByteStream {
public:
    /// @param name  a path, or - for standard input. @throws PlayError if it cannot be read
    ByteStream(const std::string& name, const StopRequest& stop);
    ~ByteStream();
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    AVIOContext* context() const { return m_context; }

private:
    static int onRead(void* self, std::uint8_t* target, int count);
    static std::int64_t onSeek(void* self, std::int64_t offset, int origin);

    const StopRequest& m_stop;
    int m_file = -1;
    AVIOContext* m_context = nullptr;
};

#endif
