// output.h - where the program writes: results to standard output, everything said meanwhile to standard
// error, the log included, with the progress line that stands below it on a terminal. Any thread; there is
// one of each in a process. The library prints lines of its own to standard output, some while it is loaded:
// after takeOverStandardOutput() they go to standard error, and only writeLine() reaches the real one.
#ifndef LUMETRA_PLAY_OUTPUT_H
#define LUMETRA_PLAY_OUTPUT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace output {

/// First thing in main(), before the library is opened. Makes good for descriptors that are closed.
void takeOverStandardOutput();
/// What the library prints by itself goes nowhere from now on.
void silenceLibrary();

/// To the real standard output, with a line's end. The first failure is kept; what follows it is left out.
void writeLine(std::string_view text);
/// Something could not be written: the run may as well end.
bool failed();
/// @throws PlayError with the reason if something could not be written
void requireWritten();

/// What is said beside the summary, quiet or not, and whether log lines are shown. Before any other thread.
struct Manner {
    bool quiet = false, log = false;
    bool document = false;  ///< standard output takes the final document only
};
void setManner(const Manner& manner);

/// A result that comes while it plays: to standard output, or with a document there to standard error.
void showResult(std::string_view line);
/// A line on standard error, above the progress line. Control characters become blanks.
void say(std::string_view line);
/// The same even if quiet, beginning "lumetra-play: ", in red on a terminal.
void complain(std::string_view message);

/// The log callback for the library and modules: counts the lines and shows them if asked. They are counted
/// for the whole program, since a log callback carries no user pointer.
void onLogLine(std::int32_t level, const char16_t* text);
/// A line of another library's log, shown but not counted.
void showLog(const std::string& line);
struct LogCounts {
    std::uint64_t lines = 0, warnings = 0;  ///< warnings: errors too, and what the library says it cannot do
    std::string lastWarning;                ///< of an error without its "Error: " and its "!", to be quoted
};
LogCounts logCounts();

/// Replaces the progress line, which has to fit the terminal; a part of it, if it is not empty, may stand
/// out by its colour.
void showProgress(std::string_view text, std::string_view alarming);
void endProgress();  ///< leaves the line as it is
bool onTerminal();   ///< whether standard error is one

/// Writes the whole file under another name and then gives it its own, so that a failure leaves no half file.
/// A device is written to as it is. @throws PlayError with the reason
void writeFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace output

#endif
