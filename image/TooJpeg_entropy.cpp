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

std::size_t lastNonZero(const Coefficients& coefficients) {
    std::size_t last = BLOCK_SIZE - 1;
    while (last > 0 && coefficients[last] == 0) --last;
    return last;
}

}  // namespace

constinit const ComponentCodes LUMINANCE_CODES = {huffmanCodes(LUMINANCE_DC), huffmanCodes(LUMINANCE_AC)};
constinit const ComponentCodes CHROMINANCE_CODES = {huffmanCodes(CHROMINANCE_DC),
                                                    huffmanCodes(CHROMINANCE_AC)};

void BitWriter::append(BitCode code) {
    m_buffer = m_buffer << code.length | code.bits;
    m_pending += code.length;
    while (m_pending >= 8) {
        m_pending -= 8;
        const auto byte = static_cast<std::uint8_t>(m_buffer >> m_pending);
        m_output(byte);
        if (byte == 0xFF) m_output(0x00);  // or a decoder would take it for the start of a marker
    }
}

void BitWriter::finish() {
    append({0x7F, 7});
}

void encodeBlock(BitWriter& writer, const Coefficients& coefficients, int previousDc,
                 const ComponentCodes& codes) {
    const BitCode difference = codeOfValue(coefficients[0] - previousDc);
    writer.append(codes.dc[difference.length]);
    writer.append(difference);

    const std::size_t last = lastNonZero(coefficients);
    std::size_t zeros = 0;
    for (std::size_t i = 1; i <= last; ++i) {
        if (coefficients[i] == 0) {
            ++zeros;
            continue;
        }
        for (; zeros >= LONGEST_RUN; zeros -= LONGEST_RUN) writer.append(codes.ac[SIXTEEN_ZEROS]);
        const BitCode value = codeOfValue(coefficients[i]);
        writer.append(codes.ac[zeros << 4 | value.length]);
        writer.append(value);
        zeros = 0;
    }
    if (last < BLOCK_SIZE - 1) writer.append(codes.ac[END_OF_BLOCK]);
}

}  // namespace TooJpeg
