// raw_source.h - raw video: frames of one size behind each other, without any header. One thread.
#ifndef LUMETRA_PLAY_RAW_SOURCE_H
#define LUMETRA_PLAY_RAW_SOURCE_H

#include <memory>

#include "tools/lumetra-play/inputs/byte_reader.h"
#include "tools/lumetra-play/inputs/frame_source.h"

class RawSource : public FrameSource {
public:
    RawSource(std::unique_ptr<ByteReader> reader, const Picture& picture);

    std::string name() const override { return m_reader->name(); }
    bool read(Bytes& frame) override;
    bool rewind() override { return m_reader->rewind(); }

private:
    std::unique_ptr<ByteReader> m_reader;
};

#endif
