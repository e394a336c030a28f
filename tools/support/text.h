// text.h - texts that cross borders: UTF-16 to and from the library, JSON to and from modules and scripts.
// What is not valid becomes U+FFFD: neither a file name nor a log line should stop the program. Any thread;
// no state.
#ifndef LUMETRA_TOOLS_TEXT_H
#define LUMETRA_TOOLS_TEXT_H

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>

using Json = nlohmann::ordered_json;

std::u16string toUtf16(const std::string& text);
std::string toUtf8(std::u16string text);

/// Null where `text` is no JSON.
Json parseJson(const std::string& text);
/// One line.
std::string toText(const Json& document);

/// By snprintf, into at most 199 bytes.
template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

#endif
