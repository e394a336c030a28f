// TooJpeg_entropy.h - quantised blocks to Huffman-coded bits, and bits to bytes.
#ifndef LUMETRA_IMAGE_TOOJPEG_ENTROPY_H
#define LUMETRA_IMAGE_TOOJPEG_ENTROPY_H

#include "image/TooJpeg.h"
#include "image/TooJpeg_transform.h"

namespace TooJpeg {

/// Up to 16 bits to send, the most significant first.
struct BitCode {
    std::uint16_t bits;
    std::uint8_t length;
};

using HuffmanCodes = std::array<BitCode, 256>;  // by symbol; length 0 for a symbol without a code

/// The codes of a component.
struct ComponentCodes {
    HuffmanCodes dc, ac;
};

extern const ComponentCodes LUMINANCE_CODES;
extern const ComponentCodes CHROMINANCE_CODES;

/// Packs bits into the bytes of entropy-coded data.
class BitWriter {
public:
    explicit BitWriter(ByteSink output) : m_output(output) {}

    /// @param length  of `bits`, at most 32
    void append(std::uint32_t bits, unsigned length) {
        m_buffer = m_buffer << length | bits;
        m_pending += length;
        if (m_pending >= 32) sendWord();
    }

    /// Fills the last byte with ones and sends it. Call once, at the end.
    void finish();

private:
    void sendWord();
    void sendByte(std::uint8_t byte);

    ByteSink m_output;
    std::uint64_t m_buffer = 0;  // the low m_pending bits are still to be sent
    unsigned m_pending = 0;      // under 32 between calls
};

/// Sends one block: the difference of its first coefficient to `previousDc`, then the others.
/// @param coefficients  -1023 to 1023, but the first, which may differ from `previousDc` by up to 2047;
///                      8-bit samples give no more than -1024 to 1020, and a difference of 2044
void encodeBlock(BitWriter& writer, const Coefficients& coefficients, int previousDc,
                 const ComponentCodes& codes);

}  // namespace TooJpeg

#endif
