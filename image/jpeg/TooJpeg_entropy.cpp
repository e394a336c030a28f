// TooJpeg_entropy.cpp - Huffman coding as in ITU-T T.81, F.1.2, with codes worked out by the compiler.
#include "image/jpeg/TooJpeg_entropy.h"

#include <bit>

namespace TooJpeg {

namespace {

constexpr std::uint8_t END_OF_BLOCK = 0x00;
constexpr std::uint8_t SIXTEEN_ZEROS = 0xF0;

// Canonical codes: of one length they count upwards, and each length goes on from the one before.
template <std::size_t SYMBOLS>
constexpr HuffmanCodes huffmanCodes(const HuffmanTable<SYMBOLS>& table) {
    HuffmanCodes codes{};
    std::size_t symbol = 0;
    unsigned code = 0;
    for (std::uint8_t length = 1; length <= 16; ++length) {
        for (int i = 0; i < table.counts[length - 1u]; ++i) codes[table.symbols[symbol++]] = {code++, length};
        code <<= 1;
    }
    return codes;
}

// A value's category, as the length, and the bits that tell it from others of the category: the value
// itself, or for a negative one the value less 1 in two's complement. Without a branch: signs are random.
constexpr BitCode codeOfValue(int value) {
    const int sign = value < 0 ? -1 : 0;
    const auto magnitude = static_cast<unsigned>((value ^ sign) - sign);
    const int length = static_cast<int>(std::bit_width(2 * magnitude + 1)) - 1;  // of an argument above 0
    return {static_cast<std::uint32_t>(value + sign) & ((1u << length) - 1), length};
}

constexpr BitCode codeOfAc(const HuffmanCodes& ac, std::size_t zeros, int value) {
    const BitCode bits = codeOfValue(value);
    return ac[zeros << 4 | static_cast<std::size_t>(bits.length())].then(bits);
}

template <std::size_t DC_SYMBOLS, std::size_t AC_SYMBOLS>
constexpr ComponentCodes componentCodes(const HuffmanTable<DC_SYMBOLS>& dc,
                                        const HuffmanTable<AC_SYMBOLS>& ac) {
    ComponentCodes codes = {huffmanCodes(dc), huffmanCodes(ac), {}};
    for (std::size_t zeros = 0; zeros < ComponentCodes::RUNS; ++zeros)
        for (int value = -ComponentCodes::SMALL; value < ComponentCodes::SMALL; ++value)
            if (value != 0)
                codes.smallAc[zeros][static_cast<std::size_t>(value + ComponentCodes::SMALL)] =
                    codeOfAc(codes.ac, zeros, value);
    return codes;
}

}  // namespace

constinit const ComponentCodes LUMINANCE_CODES = componentCodes(LUMINANCE_DC, LUMINANCE_AC);
constinit const ComponentCodes CHROMINANCE_CODES = componentCodes(CHROMINANCE_DC, CHROMINANCE_AC);

namespace {

std::uint8_t* stuffByte(std::uint8_t* at, std::uint8_t byte) {
    *at++ = byte;
    if (byte == 0xFF) *at++ = 0x00;  // or a decoder would take it for the start of a marker
    return at;
}

[[gnu::noinline]] std::uint8_t* stuffWord(std::uint8_t* at, std::uint64_t word) {  // rare
    for (int shift = 56; shift >= 0; shift -= 8) at = stuffByte(at, static_cast<std::uint8_t>(word >> shift));
    return at;
}

}  // namespace

// A writer's state while a block is being sent: held apart from memory that the bytes might overlap for all
// that a compiler knows, so that it stays in registers.
class BlockBits {
public:
    static constexpr std::size_t MOST_BYTES = 512;  // 64 values of 27 bits at most, and each byte stuffed

    explicit BlockBits(BitWriter& writer)
        : m_writer(writer),
          m_at(writer.m_output.room(MOST_BYTES)),
          m_buffer(writer.m_buffer),
          m_free(writer.m_free) {}

    ~BlockBits() {
        m_writer.m_output.wroteUpTo(m_at);
        m_writer.m_buffer = m_buffer;
        m_writer.m_free = m_free;
    }

    BlockBits(const BlockBits&) = delete;
    BlockBits& operator=(const BlockBits&) = delete;

    void append(BitCode code) {
        const int length = code.length();
        m_free -= length;
        if (m_free >= 0) {
            m_buffer = m_buffer << length | code.bits();
            return;
        }
        sendWord(m_buffer << (length + m_free) | code.bits() >> -m_free);
        m_free += 64;
        m_buffer = code.bits();  // those that were sent are shifted out before the next word
    }

    void sendRest() {
        for (; m_free <= 56; m_free += 8)
            m_at = stuffByte(m_at, static_cast<std::uint8_t>(m_buffer >> (56 - m_free)));
    }

private:
    void sendWord(std::uint64_t word) {
        constexpr std::uint64_t ONES = 0x0101010101010101u, TOPS = 0x8080808080808080u;
        if ((word & ~(word + ONES) & TOPS) != 0) {  // some byte is 0xFF
            m_at = stuffWord(m_at, word);
            return;
        }
        for (int shift = 56; shift >= 0; shift -= 8) *m_at++ = static_cast<std::uint8_t>(word >> shift);
    }

    BitWriter& m_writer;
    std::uint8_t* m_at;
    std::uint64_t m_buffer;
    int m_free;
};

void BitWriter::finish() {
    BlockBits bits(*this);
    bits.append(BitCode(0x7F, 7));
    bits.sendRest();
}

void encodeBlock(BitWriter& writer, const QuantisedBlock& block, int previousDc,
                 const ComponentCodes& codes) {
    BlockBits bits(writer);
    const BitCode difference = codeOfValue(block.values[0] - previousDc);
    bits.append(codes.dc[static_cast<std::size_t>(difference.length())].then(difference));

    constexpr int SMALL = ComponentCodes::SMALL;
    std::size_t previous = 0;
    for (std::uint64_t left = block.nonZero & ~std::uint64_t{1}; left != 0; left &= left - 1) {
        const auto place = static_cast<std::size_t>(std::countr_zero(left));
        std::size_t zeros = place - previous - 1;
        for (; zeros >= ComponentCodes::RUNS; zeros -= ComponentCodes::RUNS)
            bits.append(codes.ac[SIXTEEN_ZEROS]);
        const int value = block.values[place];
        if (-SMALL <= value && value < SMALL)
            bits.append(codes.smallAc[zeros][static_cast<std::size_t>(value + SMALL)]);
        else
            bits.append(codeOfAc(codes.ac, zeros, value));
        previous = place;
    }
    if (previous < BLOCK_SIZE - 1) bits.append(codes.ac[END_OF_BLOCK]);
}

}  // namespace TooJpeg
