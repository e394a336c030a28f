// terminal.h - text for a terminal, or for whatever stands in its place. Any thread; no state.
#ifndef LUMETRA_TOOLS_TERMINAL_H
#define LUMETRA_TOOLS_TERMINAL_H

#include <string>
#include <string_view>

/// Writes all of it, also to what has to be waited for; false leaves the reason in errno.
bool writeAll(int descriptor, std::string_view text);

/// The text with blanks for control characters, which would command a terminal.
std::string printable(std::string_view text);

enum class Colour { Red = 31, Yellow = 33 };

/// In colour if the descriptor is a terminal that takes it, and nobody asked for none by NO_COLOR.
std::string inColour(Colour colour, std::string_view text, int descriptor);

/// The terminal's present width; 80 if there is none.
unsigned columnsOf(int descriptor);

#endif
