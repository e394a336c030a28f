// stop_request.cpp - a thread takes the signals; an event wakes whoever waits.
#include "tools/lumetra-play/run/stop_request.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/module_files.h"

namespace {

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

std::string WaitingFor::all() {
    const std::lock_guard lock(s_mutex);
    std::string text;
    for (const WaitingFor* each : s_all) text += (text.empty() ? "" : ", ") + each->m_what;
    return text;
}

StopRequest::StopRequest() {
    m_stop.clear();
    const sigset_t signals = endingSignals();
    m_signals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_signals < 0) throw systemError("signals cannot be taken", errno, "close some files or programs");
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_receiver.emplace([this](const StopSignal& end) { receiveSignals(end); });
}

StopRequest::~StopRequest() {
    m_receiver.reset();
    close(m_signals);
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void StopRequest::receiveSignals(const StopSignal& end) {
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

void StopRequest::stopAfter(double seconds) {
    m_deadline = Clock::now() + std::chrono::round<Clock::duration>(std::chrono::duration<double>(seconds));
}

void StopRequest::stop() {
    m_stopped = true;
    m_stop.raise();
}

bool StopRequest::requested() const {
    return m_stopped || Clock::now() >= m_deadline;
}

bool StopRequest::waitReadable(int file) const {
    m_stop.waitReadable(file, m_deadline);
    return !requested();
}

bool StopRequest::waitUntil(Clock::time_point time) const {
    m_stop.waitUntil(std::min(time, m_deadline));
    return !requested();
}
