// stop_request.cpp - signals become a byte in a pipe, which poll() can wait for beside a file.
#include "tools/lumetra-play/run/stop_request.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::mutex waitingMutex;
std::list<std::string> waiting;  // guarded by the mutex above

}  // namespace

WaitingFor::WaitingFor(std::string what) {
    const std::lock_guard lock(waitingMutex);
    m_entry = waiting.insert(waiting.end(), std::move(what));
}

WaitingFor::~WaitingFor() {
    const std::lock_guard lock(waitingMutex);
    waiting.erase(m_entry);
}

std::string WaitingFor::all() {
    const std::lock_guard lock(waitingMutex);
    std::string text;
    for (const std::string& what : waiting) text += (text.empty() ? "" : ", ") + what;
    return text;
}

StopRequest::StopRequest() {
    if (pipe(m_pipe) != 0) throw PlayError("no pipe can be made: close some files or programs");
    for (const int end : m_pipe) {
        fcntl(end, F_SETFL, O_NONBLOCK);
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    sigemptyset(&m_signals);
    for (const int signalNumber : {SIGINT, SIGTERM}) sigaddset(&m_signals, signalNumber);
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_maskBefore);
    m_receiver = std::thread([this] { receiveSignals(); });
}

StopRequest::~StopRequest() {
    m_ending = true;
    pthread_kill(m_receiver.native_handle(), SIGTERM);
    m_receiver.join();
    pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
    for (const int end : m_pipe) close(end);
}

void StopRequest::receiveSignals() {
    constexpr timespec PATIENCE{2, 0};
    bool hinted = false;
    while (!m_ending) {
        const bool patient = !m_interrupted || hinted;
        const int received =
            patient ? sigwaitinfo(&m_signals, nullptr) : sigtimedwait(&m_signals, nullptr, &PATIENCE);
        if (m_ending) return;
        if (received > 0 && m_interrupted) endAtOnce();
        if (received > 0) {
            m_interrupted = true;
            stop();
        } else if (errno == EAGAIN && !WaitingFor::all().empty()) {
            hinted = true;
            output::say("waiting for " + WaitingFor::all() + "; Ctrl-C again ends at once");
        }
    }
}

// Who asks twice does not want to wait for what is under way.
void StopRequest::endAtOnce() {
    const std::string waiting = WaitingFor::all();
    output::complain("ended at once" + (waiting.empty() ? "" : ", waiting for " + waiting));
    _exit(EXIT_INTERRUPTED);
}

void StopRequest::stop() {
    // A full pipe already says all there is to say.
    [[maybe_unused]] const auto written = write(m_pipe[1], "", 1);
}

bool StopRequest::requested() const {
    if (m_deadline && Clock::now() >= *m_deadline) return true;
    pollfd wake{m_pipe[0], POLLIN, 0};
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
        pollfd waiting[] = {{m_pipe[0], POLLIN, 0}, {file, POLLIN, 0}};
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
        pollfd wake{m_pipe[0], POLLIN, 0};
        poll(&wake, 1, static_cast<int>(std::min<long long>(left / 1ms - 1, 1'000'000)));
    }
}
