// console.cpp - lines from standard input.
#include "tools/lumetra-play/modules/console.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "tools/lumetra-play/view/output.h"

Console::Console(EngineSession& engine, StopRequest& stop)
    : m_engine(engine), m_stop(stop), m_thread([this] { run(); }) {}

Console::~Console() {
    m_end.set();
    m_thread.join();
}

void Console::run() {
    constexpr int LOOK_AGAIN_MS = 500;
    for (bool open = true; open;) {
        // Who reads from the background is stopped by the system.
        const bool background = isatty(STDIN_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) != getpgrp();
        pollfd waiting[] = {{m_end.descriptor(), POLLIN, 0}, {background ? -1 : STDIN_FILENO, POLLIN, 0}};
        if (poll(waiting, 2, background ? LOOK_AGAIN_MS : -1) < 0 && errno != EINTR) return;
        if (waiting[0].revents != 0) return;
        if (waiting[1].revents != 0) open = readSome();
    }
}

bool Console::readSome() {
    char bytes[4096];
    const ssize_t size = read(STDIN_FILENO, bytes, sizeof bytes);
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) return true;
    if (size > 0) m_typed.append(bytes, static_cast<std::size_t>(size));
    for (std::size_t end; (end = m_typed.find('\n')) != std::string::npos; m_typed.erase(0, end + 1))
        obey(m_typed.substr(0, end));
    if (size <= 0 && !m_typed.empty()) obey(m_typed);
    return size > 0;
}

void Console::obey(const std::string& line) {
    if (line.empty()) return;
    if (line == "q") return m_stop.stop();
    try {
        m_engine.command(parseCommand(line));
    } catch (const std::exception& error) {
        output::complain(error.what());
    }
}
