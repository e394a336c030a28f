// log_sink.cpp - counting and showing log lines.
#include "tools/lumetra-play/run/log_sink.h"

#include <atomic>
#include <string>
#include <string_view>

#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::atomic<bool> shown = false;
std::atomic<std::uint64_t> lines = 0;
std::atomic<std::uint64_t> warnings = 0;

bool isWarning(std::string_view line) {
    return line.starts_with("Warning") || line.starts_with("Error") || line.starts_with("NOT IMPLEMENTED");
}

}  // namespace

void onLogLine(std::int32_t, const char16_t* text) {
    const std::string line = toUtf8(text);
    ++lines;
    if (isWarning(line)) ++warnings;
    logMessage(line);
}

void logMessage(const std::string& line) {
    if (shown) output::say("log: " + line);
}

void showLog(bool show) {
    shown = show;
}

LogCounts logCounts() {
    return {lines, warnings};
}
