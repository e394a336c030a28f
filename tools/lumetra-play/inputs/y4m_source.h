// y4m_source.h - video with a YUV4MPEG2 header: 4:2:2 and 4:4:4 play as yuyv, mono as gray; 8 bits only.
// Luma is kept to the bit. The header is not trusted: lengths and sizes are limited. One thread.
#ifndef LUMETRA_PLAY_Y4M_SOURCE_H
#define LUMETRA_PLAY_Y4M_SOURCE_H

#include <cstdint>
#include <memory>
#include <string_view>

#include "tools/lumetra-play/inputs/byte_reader.h"
#include "tools/lumetra-play/inputs/frame_source.h"

struct Y4mHeader {
    enum class Sampling { Mono, Yuv422, Yuv444 };

    std::int32_t width = 0, height = 0;
    double framesPerSecond = 0;  ///< 0 if the header does not say
    Sampling sampling = Sampling::Mono;

    std::size_t chromaWidth() const;  ///< samples in a row of each chroma plane
    std::size_t frameBytes() const;   ///< of one frame in the file
};

/// Reads the first line, without its end. @throws PlayError for what cannot be played, with a way out
Y4mHeader parseY4mHeader(std::string_view line);

/// Planes of one frame to the bytes that are pushed.
void packY4mFrame(const Y4mHeader& header, const Bytes& planes, Bytes& frame);

class Y4mSource : public FrameSource {
public:
    explicit Y4mSource(std::unique_ptr<ByteReader> reader);

    std::string name() const override { return m_reader->name(); }
    double framesPerSecond() const override { return m_header.framesPerSecond; }
    bool read(Bytes& frame) override;
    bool rewind() override;

private:
    void readHeader();
    bool readFrameLine();

    std::unique_ptr<ByteReader> m_reader;
    Y4mHeader m_header;
    Bytes m_planes;
    std::uint64_t m_frames = 0;  // begun so far, for messages
};

#endif
