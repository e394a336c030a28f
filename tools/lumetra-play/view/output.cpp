// output.cpp - descriptors, and one lock for whatever shares the terminal.
#include "tools/lumetra-play/view/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/support/terminal.h"
#include "tools/support/text.h"

namespace output {

namespace {

Manner manner;
std::mutex outputMutex;  // guards what follows, and whole lines
int realOutput = STDOUT_FILENO;
int failure = 0;  // errno of the first write that failed
LogCounts counts;
std::size_t shownWidth = 0;  // of the progress line; 0: there is none

// The commands that take the progress line off the terminal; one that has become wider than the terminal
// covers several rows by now.
std::string eraseProgress() {
    if (shownWidth == 0) return {};
    const std::size_t rowsAbove = (shownWidth - 1) / columnsOf(STDERR_FILENO);
    shownWidth = 0;
    return (rowsAbove > 0 ? "\r\033[" + std::to_string(rowsAbove) + "A" : "\r") + "\033[J";
}

}  // namespace

void takeOverStandardOutput() {
    // Whatever is opened later would take the place of a closed descriptor. Reading from this 0 fails.
    for (const int descriptor : {0, 1, 2})
        if (fcntl(descriptor, F_GETFD) < 0) {
            if (open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY) < 0) std::abort();
        }
    realOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (realOutput < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        throw systemError("cannot redirect standard output", errno, "close some files");
    std::signal(SIGPIPE, SIG_IGN);  // so that a closed pipe is an error with its reason
}

void silenceLibrary() {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);
}

void writeLine(std::string_view text) {
    const std::lock_guard lock(outputMutex);
    if (failure != 0) return;
    if (shownWidth > 0 && isatty(realOutput) == 1) writeAll(STDERR_FILENO, eraseProgress());
    if (!writeAll(realOutput, std::string(text) + "\n")) failure = errno;
}

bool failed() {
    const std::lock_guard lock(outputMutex);
    return failure != 0;
}

void requireWritten() {
    const std::lock_guard lock(outputMutex);
    if (failure != 0)
        throw systemError("cannot write to standard output", failure, "the results are not complete");
}

void setManner(const Manner& wanted) {
    manner = wanted;
}

void showResult(std::string_view line) {
    if (manner.document)
        say(line);
    else if (!manner.quiet)
        writeLine(printable(line));
}

void say(std::string_view line) {
    if (manner.quiet) return;
    const std::lock_guard lock(outputMutex);
    writeAll(STDERR_FILENO, eraseProgress() + printable(line) + "\n");
}

void complain(std::string_view message) {
    using namespace std::chrono_literals;
    // Whoever holds it may wait for a reader that does not read; what is wrong is said all the same.
    std::unique_lock lock(outputMutex, std::try_to_lock);
    for (int tries = 0; !lock.owns_lock() && tries < 100 && !lock.try_lock(); ++tries)
        std::this_thread::sleep_for(1ms);
    const std::string name = inColour(Colour::Red, "lumetra-play:", STDERR_FILENO);
    writeAll(STDERR_FILENO,
             (lock.owns_lock() ? eraseProgress() : "\n") + name + " " + printable(message) + "\n");
}

void onLogLine(std::int32_t, const char16_t* text) {
    const std::string line = toUtf8(text);
    {
        const std::lock_guard lock(outputMutex);
        ++counts.lines;
        const auto begins = [&line](const char* word) { return line.starts_with(word); };
        if (begins("Warning") || begins("Error") || begins("NOT IMPLEMENTED")) {
            ++counts.warnings;
            counts.lastWarning =
                begins("Error: ") && line.ends_with('!') ? line.substr(7, line.size() - 8) : line;
        }
    }
    showLog(line);
}

void showLog(const std::string& line) {
    if (manner.log) say("log: " + line);
}

LogCounts logCounts() {
    const std::lock_guard lock(outputMutex);
    return counts;
}

void showProgress(std::string_view text, std::string_view alarming) {
    const std::lock_guard lock(outputMutex);
    std::string line(text);
    if (const std::size_t place = line.find(alarming); !alarming.empty() && place != std::string::npos)
        line.replace(place, alarming.size(), inColour(Colour::Yellow, alarming, STDERR_FILENO));
    writeAll(STDERR_FILENO, eraseProgress() + line);
    shownWidth = text.size();
}

void endProgress() {
    const std::lock_guard lock(outputMutex);
    if (shownWidth > 0) writeAll(STDERR_FILENO, "\n");
    shownWidth = 0;
}

bool onTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

void writeFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    const bool direct = std::filesystem::exists(path) && !std::filesystem::is_regular_file(path);
    const std::string name = direct ? path : path + ".part";
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    int error = file >= 0 && writeAll(file, text) ? 0 : errno;
    if (file >= 0 && close(file) != 0 && error == 0) error = errno;
    if (error == 0 && !direct && std::rename(name.c_str(), path.c_str()) != 0) error = errno;
    if (error == 0) return;
    if (file >= 0 && !direct) unlink(name.c_str());
    throw systemError("cannot write " + path, error, "name a file that can be written");
}

}  // namespace output
