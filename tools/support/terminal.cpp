// terminal.cpp - by the usual escape sequences.
#include "tools/support/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

bool takesColours(int descriptor) {
    const char* const terminal = std::getenv("TERM");
    const char* const refused = std::getenv("NO_COLOR");
    return isatty(descriptor) == 1 && (refused == nullptr || *refused == 0) && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

}  // namespace

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t done = write(descriptor, text.data(), text.size());
        // What another program shares may have been made non-blocking by it.
        pollfd ready{descriptor, POLLOUT, 0};
        if (done < 0 && errno == EAGAIN)
            poll(&ready, 1, -1);
        else if (done < 0 && errno != EINTR)
            return false;
        if (done > 0) text.remove_prefix(static_cast<std::size_t>(done));
    }
    return true;
}

std::string printable(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(),
        [](char letter) { return static_cast<unsigned char>(letter) < ' ' || letter == '\177'; }, ' ');
    return line;
}

std::string inColour(Colour colour, std::string_view text, int descriptor) {
    if (!takesColours(descriptor)) return std::string(text);
    return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + std::string(text) + "\033[0m";
}

unsigned columnsOf(int descriptor) {
    constexpr unsigned USUAL = 80;
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : USUAL;
}
