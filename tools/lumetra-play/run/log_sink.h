// log_sink.h - the log callback that the player gives to the library and to modules: counts lines and, if
// asked, shows them on standard error. The callback runs on any thread, several at once; the counts belong
// to the program, since a log callback carries no user pointer.
#ifndef LUMETRA_PLAY_LOG_SINK_H
#define LUMETRA_PLAY_LOG_SINK_H

#include <cstdint>
#include <string>

struct LogCounts {
    std::uint64_t lines = 0;
    std::uint64_t warnings = 0;  ///< warnings, errors and what the library says it cannot do
};

void onLogLine(std::int32_t level, const char16_t* text);

void logMessage(const std::string& line);  ///< of another library, shown but not counted
void showLog(bool shown);                  ///< before the first line
LogCounts logCounts();

#endif
