// stop_request.cpp - signals become a byte in a pipe, which poll() can wait for beside a file.
#include "tools/lumetra-play/stop_request.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "tools/lumetra-play/play_error.h"

namespace {

int stopPipe[2] = {-1, -1};  // the only thing that a signal handler may touch

extern "C" void onStopSignal(int) {
    const int savedErrno = errno;
    // A full pipe already says all there is to say.
    [[maybe_unused]] const auto written = write(stopPipe[1], "", 1);
    errno = savedErrno;
}

void handle(int signalNumber, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signalNumber, &action, nullptr);
}

}  // namespace

StopRequest::StopRequest() {
    if (pipe(stopPipe) != 0) throw PlayError("no pipe can be made: close some files or programs");
    for (const int end : stopPipe) {
        fcntl(end, F_SETFL, O_NONBLOCK);
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    handle(SIGINT, onStopSignal);
    handle(SIGTERM, onStopSignal);
}

StopRequest::~StopRequest() {
    handle(SIGINT, SIG_DFL);
    handle(SIGTERM, SIG_DFL);
    for (const int end : stopPipe) close(end);
}

bool StopRequest::requested() const {
    if (m_deadline && Clock::now() >= *m_deadline) return true;
    pollfd wake{stopPipe[0], POLLIN, 0};
    return poll(&wake, 1, 0) > 0;
}

bool StopRequest::waitReadable(int file) const {
    using std::chrono::milliseconds;
    for (;;) {
        int timeout = -1;
        if (m_deadline) {
            const auto left = std::chrono::ceil<milliseconds>(*m_deadline - Clock::now());
            timeout = static_cast<int>(std::clamp(left, milliseconds(0), milliseconds(1'000'000)).count());
        }
        pollfd waiting[] = {{stopPipe[0], POLLIN, 0}, {file, POLLIN, 0}};
        const int ready = poll(waiting, 2, timeout);
        if (requested()) return false;
        if (ready > 0 && waiting[1].revents != 0) return true;
    }
}

bool StopRequest::waitUntil(Clock::time_point time) const {
    using namespace std::chrono_literals;
    for (;;) {
        if (requested()) return false;
        const auto left = time - Clock::now();
        if (left <= 0s) return true;
        if (left < 2ms) {  // finer than poll() can wait
            std::this_thread::sleep_for(left);
            continue;
        }
        pollfd wake{stopPipe[0], POLLIN, 0};
        poll(&wake, 1, static_cast<int>(std::min<long long>(left / 1ms - 1, 1'000'000)));
    }
}
