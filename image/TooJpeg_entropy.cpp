// TooJpeg_entropy.cpp - Huffman coding as in ITU-T T.81, F.1.2, with codes worked out by the compiler.
#include "image/TooJpeg_entropy.h"

#include <bit>

namespace TooJpeg {

namespace {

constexpr int MAX_VALUE = 2047;  // 11 bits, the most that a category of the tables stands for
constexpr std::size_t LONGEST_RUN = 16;
constexpr std::uint8_t END_OF_BLOCK = 0x00;
constexpr std::uint8_t SIXTEEN_ZEROS = 0xF0;

// Canonical codes: of one length they count upwards, and each length goes on from the one before.
template <std::size_t SYMBOLS>
constexpr HuffmanCodes huffmanCodes(const HuffmanTable<SYMBOLS>& table) {
    HuffmanCodes codes{};
    std::size_t symbol = 0;
    unsigned code = 0;
    for (std::uint8_t length = 1; length <= 16; ++length) {
        for (int i = 0; i < table.counts[length - 1u]; ++i)
            codes[table.symbols[symbol++]] = {static_cast<std::uint16_t>(code++), length};
        code <<= 1;
    }
    return codes;
}

// For every value its category, as the length, and the bits that tell it from others of the category:
// the value itself, or for a negative one the value less 1 in two's complement.
constexpr auto valueCodes() {
    std::array<BitCode, 2 * MAX_VALUE + 1> codes{};
    for (int value = -MAX_VALUE; value <= MAX_VALUE; ++value) {
        const auto magnitude = static_cast<unsigned>(value < 0 ? -value : value);
        const auto length = static_cast<int>(std::bit_width(magnitude));
        const int bits = value < 0 ? value + (1 << length) - 1 : value;
        codes[static_cast<std::size_t>(value + MAX_VALUE)] = {static_cast<std::uint16_t>(bits),
                                                              static_cast<std::uint8_t>(length)};
    }
    return codes;
}

constexpr auto VALUE_CODES = valueCodes();

BitCode codeOfValue(int value) {
    return VALUE_CODES[static_cast<std::size_t>(value + MAX_VALUE)];
}

// Bit i is set where coefficient i is not 0.
std::uint64_t nonZeroMask(const Coefficients& coefficients) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < BLOCK_SIZE; ++i)
        mask |= static_cast<std::uint64_t>(coefficients[i] != 0) << i;
    return mask;
}

// A Huffman code and the bits of the value that it announces, at most 16 and 11.
void appendWithValue(BitWriter& writer, BitCode code, BitCode value) {
    writer.append(std::uint32_t{code.bits} << value.length | value.bits,
                  static_cast<unsigned>(code.length + value.length));
}

}  // namespace

constinit const ComponentCodes LUMINANCE_CODES = {huffmanCodes(LUMINANCE_DC), huffmanCodes(LUMINANCE_AC)};
constinit const ComponentCodes CHROMINANCE_CODES = {huffmanCodes(CHROMINANCE_DC),
                                                    huffmanCodes(CHROMINANCE_AC)};

void BitWriter::sendByte(std::uint8_t byte) {
    m_output(byte);
    if (byte == 0xFF) m_output(0x00);  // or a decoder would take it for the start of a marker
}

void BitWriter::sendWord() {
    m_pending -= 32;
    const auto word = static_cast<std::uint32_t>(m_buffer >> m_pending);
    for (int shift = 24; shift >= 0; shift -= 8) sendByte(static_cast<std::uint8_t>(word >> shift));
}

void BitWriter::finish() {
    append(0x7F, 7);
    for (; m_pending >= 8; m_pending -= 8) sendByte(static_cast<std::uint8_t>(m_buffer >> (m_pending - 8)));
}

void encodeBlock(BitWriter& writer, const Coefficients& coefficients, int previousDc,
                 const ComponentCodes& codes) {
    const BitCode difference = codeOfValue(coefficients[0] - previousDc);
    appendWithValue(writer, codes.dc[difference.length], difference);

    const BitCode sixteenZeros = codes.ac[SIXTEEN_ZEROS];
    std::size_t previous = 0;
    for (std::uint64_t left = nonZeroMask(coefficients) & ~std::uint64_t{1}; left != 0; left &= left - 1) {
        const auto place = static_cast<std::size_t>(std::countr_zero(left));
        std::size_t zeros = place - previous - 1;
        for (; zeros >= LONGEST_RUN; zeros -= LONGEST_RUN)
            writer.append(sixteenZeros.bits, sixteenZeros.length);
        const BitCode value = codeOfValue(coefficients[place]);
        appendWithValue(writer, codes.ac[zeros << 4 | value.length], value);
        previous = place;
    }
    const BitCode endOfBlock = codes.ac[END_OF_BLOCK];
    if (previous < BLOCK_SIZE - 1) writer.append(endOfBlock.bits, endOfBlock.length);
}

}  // namespace TooJpeg
