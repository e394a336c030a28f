// text.cpp - lossy conversions of text, and reading JSON without exceptions.
#include "tools/lumetra-play/run/text.h"

#include <cstddef>
#include <nlohmann/json.hpp>

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

bool isSurrogate(char32_t point) {
    return point >= 0xD800 && point <= 0xDFFF;
}

void append(std::u16string& text, char32_t point) {
    if (point < 0x10000) {
        text += static_cast<char16_t>(point);
        return;
    }
    text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
}

void append(std::string& text, char32_t point) {
    const auto byte = [&text](char32_t value) { text += static_cast<char>(value); };
    const auto continuation = [&](unsigned shift) { byte(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) return byte(point);
    if (point < 0x800) {
        byte(0xC0 | (point >> 6));
    } else if (point < 0x10000) {
        byte(0xE0 | (point >> 12));
        continuation(6);
    } else {
        byte(0xF0 | (point >> 18));
        continuation(12);
        continuation(6);
    }
    continuation(0);
}

// The code point at `at`, which moves behind it, or behind one byte of what is none.
char32_t nextPoint(std::string_view text, std::size_t& at) {
    const auto byte = [&text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
    };
    const char32_t first = byte(at++);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4) return REPLACEMENT;
    char32_t point = first & (0x3Fu >> more);
    for (std::size_t k = 0; k < more; ++k) {
        if ((byte(at + k) & 0xC0) != 0x80) return REPLACEMENT;
        point = point << 6 | (byte(at + k) & 0x3F);
    }
    constexpr char32_t SMALLEST[] = {0, 0x80, 0x800, 0x10000};
    if (point < SMALLEST[more] || point > 0x10FFFF || isSurrogate(point)) return REPLACEMENT;
    at += more;
    return point;
}

}  // namespace

std::u16string toUtf16(std::string_view text) {
    std::u16string result;
    for (std::size_t at = 0; at < text.size();) append(result, nextPoint(text, at));
    return result;
}

std::string toUtf8(std::u16string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t point = text[at];
        if (isSurrogate(point)) {
            const bool paired =
                point < 0xDC00 && at + 1 < text.size() && text[at + 1] >= 0xDC00 && text[at + 1] <= 0xDFFF;
            point = paired ? 0x10000 + ((point & 0x3FF) << 10) + (text[++at] & 0x3FFu) : REPLACEMENT;
        }
        append(result, point);
    }
    return result;
}

Json parseJson(std::string_view text) {
    Json document = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    return document.is_discarded() ? Json() : document;
}

std::string toText(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

double numberIn(const Json& object, const char* name, double otherwise) {
    const auto member = object.find(name);
    return member != object.end() && member->is_number() ? member->get<double>() : otherwise;
}

std::int64_t integerIn(const Json& object, const char* name, std::int64_t otherwise) {
    const auto member = object.find(name);
    return member != object.end() && member->is_number_integer() ? member->get<std::int64_t>() : otherwise;
}
