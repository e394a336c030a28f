// utf8_repair.cpp - one walk over the bytes; a valid sequence is copied, any other byte replaced.
#include "base/utf8_repair.h"

#include <cstddef>

namespace lumetra {

namespace {

// The length of the valid sequence at the start of `bytes`, which is not empty; 0 if there is none.
std::size_t sequenceLength(std::string_view bytes) {
    const auto byteAt = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    const unsigned lead = byteAt(0);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;

    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (bytes.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byteAt(i) & 0xC0) != 0x80) return 0;

    // The second byte tells overlong forms, surrogates and code points beyond U+10FFFF.
    const unsigned second = byteAt(1);
    const bool forbidden = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                           (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return forbidden ? 0 : length;
}

}  // namespace

std::string repairUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        text += length == 0 ? std::string_view("\xEF\xBF\xBD") : bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

}  // namespace lumetra
