// stop_request.cpp - a thread takes the signals; an event wakes whoever waits.
#include "tools/lumetra-play/run/stop_request.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/module_files.h"

namespace {

std::mutex waitingMutex;
std::list<std::string> waiting;  // guarded by the mutex above

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
    return signals;
}

// Who asks twice does not want to wait for what is under way.
[[noreturn]] void endAtOnce() {
    const std::string reason = WaitingFor::all();
    output::complain("ended at once" + (reason.empty() ? "" : ", waiting for " + reason));
    ScratchFolder::removeAll();
    _exit(EXIT_INTERRUPTED);
}

}  // namespace

Event::Event() : m_descriptor(eventfd(0, EFD_CLOEXEC)) {
    if (m_descriptor < 0) throw systemError("no event can be made", errno, "close some files or programs");
}

Event::~Event() {
    close(m_descriptor);
}

void Event::set() {
    eventfd_write(m_descriptor, 1);
}

bool Event::isSetWithin(int milliseconds) const {
    pollfd file{m_descriptor, POLLIN, 0};
    return poll(&file, 1, milliseconds) > 0;
}

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
    const sigset_t signals = endingSignals();
    m_signals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_signals < 0) throw systemError("signals cannot be taken", errno, "close some files or programs");
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_receiver.emplace([this](const Event& end) { receiveSignals(end); });
}

StopRequest::~StopRequest() {
    m_receiver.reset();
    close(m_signals);
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void StopRequest::receiveSignals(const Event& end) {
    constexpr int PATIENCE_MS = 2000;
    for (bool told = false;;) {
        const bool ending = m_stopped;
        pollfd files[] = {{end.descriptor(), POLLIN, 0},
                          {m_signals, POLLIN, 0},
                          {ending ? -1 : m_stop.descriptor(), POLLIN, 0}};
        const int ready = poll(files, std::size(files), ending && !told ? PATIENCE_MS : -1);
        if (files[0].revents != 0) return;
        signalfd_siginfo signal;
        if (ready > 0 && read(m_signals, &signal, sizeof signal) == sizeof signal) {
            if (ending) endAtOnce();
            m_interrupted = true;
            stop();
        } else if (ready == 0) {
            const std::string reason = WaitingFor::all();
            told = !reason.empty();
            if (told) output::complain("waiting for " + reason + "; Ctrl-C ends it");
        }
    }
}

void StopRequest::stop() {
    m_stopped = true;
    m_stop.set();
}

bool StopRequest::requested() const {
    return m_stopped || Clock::now() >= m_deadline;
}

bool StopRequest::wait(int file, Clock::time_point until) const {
    using namespace std::chrono;
    constexpr nanoseconds LONGEST = hours(1);
    while (!requested()) {
        const auto now = Clock::now();
        if (now >= until) return true;
        const auto left = std::min<nanoseconds>(std::min(until, m_deadline) - now, LONGEST);
        const timespec timeout{left / seconds(1), (left % seconds(1)).count()};
        pollfd files[] = {{m_stop.descriptor(), POLLIN, 0}, {file, POLLIN, 0}};
        if (ppoll(files, std::size(files), &timeout, nullptr) > 0 && files[1].revents != 0)
            return !requested();
    }
    return false;
}
