// output.h - where the program writes: results to standard output, everything said meanwhile to standard
// error, with the progress line that stands below it on a terminal. Any thread; there is one of each in a
// process. The library prints lines of its own to standard output, some of them while it is loaded: after
// takeOverStandardOutput() they go to standard error, and only writeLine() reaches the real one.
#ifndef LUMETRA_PLAY_OUTPUT_H
#define LUMETRA_PLAY_OUTPUT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace output {

/// First thing in main(), before the library is opened. Makes good for descriptors that are closed.
void takeOverStandardOutput();

/// To the real standard output, with a line's end. The first failure is kept; what follows it is left out.
void writeLine(std::string_view text);
/// Something could not be written: the run may as well end.
bool failed();
/// @throws PlayError with the reason if something could not be written
void requireWritten();

/// A line on standard error, above the progress line. Control characters become blanks.
void say(std::string_view line);
/// The same, beginning "lumetra-play: ", in red on a terminal.
void complain(std::string_view message);

/// Replaces the progress line, cut to the terminal's present width.
void showProgress(std::string_view text);
void endProgress();      ///< leaves the line as it is
bool onTerminal();       ///< whether standard error is one
bool coloured();         ///< whether it takes colours
unsigned columns();      ///< its present width
bool resultsOnScreen();  ///< whether the real standard output is a terminal

/// Writes the whole file under another name and then gives it its own, so that a failure leaves no half file.
/// @throws PlayError with the reason
void writeFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace output

#endif
