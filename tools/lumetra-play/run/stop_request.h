// stop_request.h - the wish to end: Ctrl-C, a termination signal, or a point in time.
// One object at a time, made by main() before any other thread, so that all of them leave the signals to its
// own: a handler would run on whichever thread the system picks, between any two of its instructions.
// requested() and the waits: any thread. A signal also wakes a wait.
#ifndef LUMETRA_PLAY_STOP_REQUEST_H
#define LUMETRA_PLAY_STOP_REQUEST_H

#include <signal.h>

#include <atomic>
#include <chrono>
#include <list>
#include <optional>
#include <string>
#include <thread>

class StopRequest {
public:
    using Clock = std::chrono::steady_clock;

    StopRequest();  ///< takes over SIGINT and SIGTERM; the second of them ends the process at once
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    void stopAt(Clock::time_point time) { m_deadline = time; }  ///< before any wait
    void stop();                                                ///< as asked, from inside the program
    bool requested() const;
    bool interrupted() const { return m_interrupted; }  ///< by a signal

    /// Waits until `file` can be read or has ended; false if the stop came first.
    bool waitReadable(int file) const;
    /// Waits until `time`; false if the stop came first.
    bool waitUntil(Clock::time_point time) const;

private:
    void receiveSignals();
    [[noreturn]] static void endAtOnce();

    std::optional<Clock::time_point> m_deadline;
    int m_pipe[2] = {-1, -1};
    sigset_t m_signals{};
    sigset_t m_maskBefore{};
    std::atomic<bool> m_ending{false}, m_interrupted{false};
    std::thread m_receiver;
};

/// What the program waits for as long as this lives: whoever ends it meanwhile by a second signal is told.
class WaitingFor {
public:
    explicit WaitingFor(std::string what);  ///< "the module NAME to be loaded"
    ~WaitingFor();
    WaitingFor(const WaitingFor&) = delete;
    WaitingFor& operator=(const WaitingFor&) = delete;

    static std::string all();  ///< what is waited for now, oldest first; empty if nothing is

private:
    std::list<std::string>::iterator m_entry;
};

#endif
