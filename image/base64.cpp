// base64.cpp - three bytes at a time into four characters, looked up in pairs.
#include "image/base64.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

static const std::string base64_chars = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

namespace {

// The two characters of every 12 bits.
template <class Char>
class Pairs {
public:
    Pairs() {
        for (std::size_t bits = 0; bits < m_pairs.size(); ++bits)
            m_pairs[bits] = {static_cast<Char>(base64_chars[bits >> 6]),
                             static_cast<Char>(base64_chars[bits & 63])};
    }

    // The characters of 24 bits, the most significant first.
    Char* write(Char* at, std::uint32_t group) const {
        std::memcpy(at, m_pairs[group >> 12].data(), sizeof m_pairs[0]);
        std::memcpy(at + 2, m_pairs[group & 0xFFF].data(), sizeof m_pairs[0]);
        return at + 4;
    }

private:
    std::array<std::array<Char, 2>, 4096> m_pairs;
};

std::uint32_t groupOf(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8 | bytes[2];
}

template <class Char>
void append(std::basic_string<Char>& text, const unsigned char* bytes, std::size_t length) {
    static const Pairs<Char> pairs;
    const std::size_t before = text.size();
    const std::size_t remainder = length % 3;
    text.resize(before + (length + 2) / 3 * 4);
    Char* at = text.data() + before;
    for (const unsigned char* const end = bytes + (length - remainder); bytes != end; bytes += 3)
        at = pairs.write(at, groupOf(bytes));
    if (remainder == 0) return;

    const unsigned char last[3] = {bytes[0], remainder == 2 ? bytes[1] : static_cast<unsigned char>(0), 0};
    at = pairs.write(at, groupOf(last));
    for (std::size_t i = remainder; i < 3; ++i) *--at = static_cast<Char>('=');
}

}  // namespace

namespace lumetra {

void appendBase64(std::u16string& text, const unsigned char* bytes, unsigned int length) {
    append(text, bytes, length);
}

}  // namespace lumetra

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
    std::string text;
    append(text, bytes, length);
    return text;
}
