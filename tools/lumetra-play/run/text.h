// text.h - texts that cross borders: UTF-16 to and from the library, JSON to and from modules and scripts.
// What is not valid becomes U+FFFD: neither a file name nor a log line should stop the program. Any thread;
// no state.
#ifndef LUMETRA_PLAY_TEXT_H
#define LUMETRA_PLAY_TEXT_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

using Json = nlohmann::ordered_json;

std::u16string toUtf16(std::string_view text);
std::string toUtf8(std::u16string_view text);

/// Null where `text` is no JSON.
Json parseJson(std::string_view text);
/// One line.
std::string toText(const Json& document);
/// The member of an object; `otherwise` if there is none or it is no number.
double numberIn(const Json& object, const char* name, double otherwise = 0);
std::int64_t integerIn(const Json& object, const char* name, std::int64_t otherwise = 0);

#endif
