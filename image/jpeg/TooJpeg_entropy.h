// TooJpeg_entropy.h - quantised blocks to Huffman-coded bits, and bits to bytes.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_ENTROPY_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_ENTROPY_H

#include "image/jpeg/TooJpeg_output.h"
#include "image/jpeg/TooJpeg_transform.h"

namespace TooJpeg {

/// Bits to send, the most significant first, and how many: 27 at most, a Huffman code with a value's bits.
class BitCode {
public:
    constexpr BitCode() = default;
    constexpr BitCode(std::uint32_t bits, int length)
        : m_packed(static_cast<std::uint32_t>(length) << 27 | bits) {}

    constexpr std::uint32_t bits() const { return m_packed & 0x7FFFFFF; }
    constexpr int length() const { return static_cast<int>(m_packed >> 27); }

    /// This code and then that one.
    constexpr BitCode then(BitCode next) const {
        return {bits() << next.length() | next.bits(), length() + next.length()};
    }

private:
    std::uint32_t m_packed = 0;  // one load
};

using HuffmanCodes = std::array<BitCode, 256>;  // by symbol; length 0 for a symbol without a code

/// The codes of a component. Nearly all coefficients are small: theirs are ready with their value's bits.
struct ComponentCodes {
    static constexpr int SMALL = 64;  // values from -SMALL to SMALL - 1
    static constexpr std::size_t RUNS = 16;

    HuffmanCodes dc, ac;
    std::array<std::array<BitCode, 2 * SMALL>, RUNS> smallAc;  // by zeros before it, and value + SMALL
};

extern const ComponentCodes LUMINANCE_CODES;
extern const ComponentCodes CHROMINANCE_CODES;

/// Packs bits into the bytes of entropy-coded data.
class BitWriter {
public:
    explicit BitWriter(Output& output) : m_output(output) {}

    /// Fills the last byte with ones and sends it. Call once, at the end.
    void finish();

private:
    friend class BlockBits;

    Output& m_output;
    std::uint64_t m_buffer = 0;  // the low 64 - m_free bits are still to be sent
    int m_free = 64;             // 0 to 64
};

/// Sends one block: the difference of its first coefficient to `previousDc`, then the others.
/// @param block  of -1023 to 1023, but the first, which may differ from `previousDc` by up to 2047;
///               8-bit samples give no more than -1024 to 1020, and a difference of 2044
void encodeBlock(BitWriter& writer, const QuantisedBlock& block, int previousDc, const ComponentCodes& codes);

}  // namespace TooJpeg

#endif
