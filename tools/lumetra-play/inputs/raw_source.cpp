// raw_source.cpp - cutting a stream of bytes into frames.
#include "tools/lumetra-play/inputs/raw_source.h"

#include <utility>

#include "tools/lumetra-play/run/play_error.h"

RawSource::RawSource(std::unique_ptr<ByteReader> reader, const Picture& picture)
    : m_reader(std::move(reader)) {
    requireUsableSize(picture.width, picture.height, picture.format);
    // Writers disagree on whether an odd row of 4:2:2 is padded, and a wrong guess shears the picture.
    if (picture.format == LUMETRA_IMGFORMAT_YUYV && picture.width % 2 != 0)
        throw PlayError("raw yuyv needs an even width: scale the source or send it as Y4M");
    m_picture = picture;
}

bool RawSource::read(Bytes& frame) {
    frame.resize(m_picture.bytes());
    const std::size_t got = m_reader->read(frame.data(), frame.size());
    if (got == frame.size()) return true;
    if (got > 0 && !m_reader->stopped()) remarkCutOff(got, frame.size());
    return false;
}
