// text.h - between the UTF-8 of the command line and the UTF-16 of the library. Any thread; no state.
// What is not valid becomes U+FFFD: neither a file name nor a log line should stop the program.
#ifndef LUMETRA_PLAY_TEXT_H
#define LUMETRA_PLAY_TEXT_H

#include <string>
#include <string_view>

std::u16string toUtf16(std::string_view text);
std::string toUtf8(std::u16string_view text);

#endif
