// stop_signal.cpp - by a pipe, which poll() can wait for beside another descriptor.
#include "support/stop_signal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

StopSignal::~StopSignal() {
    if (m_pipe[0] < 0) return;
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void StopSignal::raise() {
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(m_pipe[1], &byte, 1);  // a full pipe is raised already
}

void StopSignal::clear() {
    if (m_pipe[0] < 0 && pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::runtime_error("no pipe for a stop signal (" + std::generic_category().message(errno) +
                                 "): close some files or programs");
    char bytes[64];
    while (read(m_pipe[0], bytes, sizeof bytes) > 0) {
    }
}

StopSignal::Wait StopSignal::waitReadable(int file, Clock::time_point until) const {
    using namespace std::chrono;
    constexpr nanoseconds LONGEST = hours(1);  // of one call
    for (;;) {
        const auto now = Clock::now();
        const nanoseconds left = until <= now            ? nanoseconds(0)
                                 : until - now < LONGEST ? until - now
                                                         : LONGEST;
        const timespec timeout = {duration_cast<seconds>(left).count(), (left % seconds(1)).count()};
        pollfd files[2] = {{m_pipe[0], POLLIN, 0}, {file, POLLIN, 0}};
        const int ready = ppoll(files, 2, &timeout, nullptr);
        if (ready < 0) continue;  // interrupted
        if (files[0].revents != 0) return Wait::Stopped;
        if ((files[1].revents & POLLIN) != 0) return Wait::Readable;
        if (files[1].revents != 0) return Wait::Closed;
        if (Clock::now() >= until) return Wait::TimeIsUp;
    }
}
