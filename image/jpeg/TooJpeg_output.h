// TooJpeg_output.h - the file on its way to the sink: collected, and passed on in runs.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_OUTPUT_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_OUTPUT_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "image/jpeg/TooJpeg.h"

namespace TooJpeg {

/// Bytes in file order. Whoever writes many at once asks for room and says where the written part ends.
class Output {
public:
    static constexpr std::size_t MOST_ROOM = 4096;  // that can be asked for at once

    Output(RunSink sink, void* context) : m_sink(sink), m_context(context) {}

    void put(std::uint8_t byte) {
        std::uint8_t* const at = room(1);
        *at = byte;
        wroteUpTo(at + 1);
    }

    std::uint8_t* room(std::size_t bytes) {
        if (m_bytes.size() - m_used < bytes) flush();
        return m_bytes.data() + m_used;
    }
    void wroteUpTo(const std::uint8_t* end) { m_used = static_cast<std::size_t>(end - m_bytes.data()); }

    /// Passes on what is left. Call once, at the end.
    void flush() {
        m_sink(m_context, m_bytes.data(), m_used);
        m_used = 0;
    }

private:
    const RunSink m_sink;
    void* const m_context;
    std::size_t m_used = 0;
    std::array<std::uint8_t, 2 * MOST_ROOM> m_bytes;  // left as it is until written
};

}  // namespace TooJpeg

#endif
