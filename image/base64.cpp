// base64.cpp - three bytes at a time into four characters.
#include "image/base64.h"

#include <cstddef>
#include <cstdint>

static const std::string base64_chars = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

namespace {

// The characters of 24 bits, the most significant first.
void appendGroup(std::string& text, std::uint32_t group) {
    for (int shift = 18; shift >= 0; shift -= 6) text += base64_chars[group >> shift & 63];
}

}  // namespace

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
    std::string text;
    const unsigned int remainder = length % 3;
    const std::size_t whole = length - remainder;
    text.reserve((whole / 3 + 1) * 4);
    for (std::size_t i = 0; i < whole; i += 3)
        appendGroup(text, static_cast<std::uint32_t>(bytes[i]) << 16 |
                              static_cast<std::uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2]);
    if (remainder == 0) return text;

    std::uint32_t group = static_cast<std::uint32_t>(bytes[whole]) << 16;
    if (remainder == 2) group |= static_cast<std::uint32_t>(bytes[whole + 1]) << 8;
    appendGroup(text, group);
    text.replace(text.size() - (3 - remainder), 3 - remainder, 3 - remainder, '=');
    return text;
}
