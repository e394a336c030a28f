// utf_conversion.cpp - strict conversion between UTF-16 and UTF-8.
// Written out because the standard library's converters differ between implementations: one drops an
// unpaired surrogate at the end of the text and accepts truncated UTF-8.
#include "LumetraCore/utf_conversion.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace {

[[noreturn]] void throwToBytes() {
    throw std::range_error("wstring_convert: to_bytes error");
}
[[noreturn]] void throwFromBytes() {
    throw std::range_error("wstring_convert: from_bytes error");
}

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Most text is ASCII, converted a block at a time through local memory, which lets compilers vectorise.
template <class Unit>
struct AsciiBlock {
    static constexpr std::size_t SIZE = 16;
    std::array<Unit, SIZE> units;

    // False if the text at `i` is not a whole block of ASCII.
    bool read(const std::basic_string<Unit>& text, std::size_t i) {
        if (text.size() - i < SIZE) return false;
        std::memcpy(units.data(), text.data() + i, sizeof units);
        unsigned all = 0;
        for (const Unit unit : units) all |= static_cast<std::make_unsigned_t<Unit>>(unit);
        return all < 0x80;
    }

    template <class Other>
    void appendTo(std::basic_string<Other>& text) const {
        std::array<Other, SIZE> converted;
        for (std::size_t k = 0; k < SIZE; ++k) converted[k] = static_cast<Other>(units[k]);
        text.append(converted.data(), SIZE);
    }
};

template <class To, class From, class AppendCodePoint>
std::basic_string<To> convert(const std::basic_string<From>& text, AppendCodePoint appendCodePoint) {
    std::basic_string<To> converted;
    converted.reserve(text.size());
    AsciiBlock<From> block;
    for (std::size_t i = 0; i < text.size();) {
        if (block.read(text, i)) {
            block.appendTo(converted);
            i += block.SIZE;
        } else {
            appendCodePoint(converted, i);
            ++i;
        }
    }
    return converted;
}

// The code point at `i`, which is moved to the last unit it takes.
char32_t codePointAt(const std::u16string& text, std::size_t& i) {
    const char32_t unit = text[i];
    if (isLowSurrogate(unit)) throwToBytes();
    if (!isHighSurrogate(unit)) return unit;
    if (i + 1 == text.size() || !isLowSurrogate(text[i + 1])) throwToBytes();
    return 0x10000 + ((unit - 0xD800) << 10) + (char32_t{text[++i]} - 0xDC00);
}

void appendUtf8(std::string& bytes, char32_t code) {
    const auto append = [&bytes](char32_t byte) { bytes.push_back(static_cast<char>(byte)); };
    const auto appendTail = [&](int shift) { append(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0 | (code >> 6));
        appendTail(0);
    } else if (code < 0x10000) {
        append(0xE0 | (code >> 12));
        appendTail(6);
        appendTail(0);
    } else {
        append(0xF0 | (code >> 18));
        appendTail(12);
        appendTail(6);
        appendTail(0);
    }
}

// The code point at `i`, which is moved to the last byte it takes.
char32_t codePointAt(const std::string& bytes, std::size_t& i) {
    const auto byteAt = [&bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    const unsigned char lead = byteAt(i);
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) throwFromBytes();

    const std::size_t tail = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (bytes.size() - i <= tail) throwFromBytes();
    char32_t code = lead & (0x3Fu >> tail);
    for (std::size_t k = 0; k < tail; ++k) {
        const unsigned char byte = byteAt(++i);
        if ((byte & 0xC0) != 0x80) throwFromBytes();
        code = (code << 6) | (byte & 0x3F);
    }
    const bool overlong = (tail == 2 && code < 0x800) || (tail == 3 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (overlong || surrogate || code > 0x10FFFF) throwFromBytes();
    return code;
}

void appendUtf16(std::u16string& units, char32_t code) {
    if (code < 0x10000) {
        units.push_back(static_cast<char16_t>(code));
        return;
    }
    units.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
    units.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
}

}  // namespace

template <>
std::string convertUTFFormatVto8<char16_t, char>(const std::u16string& text) {
    return convert<char>(
        text, [&](std::string& bytes, std::size_t& i) { appendUtf8(bytes, codePointAt(text, i)); });
}

template <>
std::u16string convertUTFFormat8toV<char, char16_t>(const std::string& text) {
    return convert<char16_t>(
        text, [&](std::u16string& units, std::size_t& i) { appendUtf16(units, codePointAt(text, i)); });
}

template <>
std::string convertUTFFormatVto8<char, char>(const std::string& text) {
    return text;
}

template <>
std::string convertUTFFormat8toV<char, char>(const std::string& text) {
    return text;
}
