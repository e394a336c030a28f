// stop_request.h - the wish to end: Ctrl-C, a termination signal, or a point in time.
// One object at a time, made by main() before any other thread, so that all of them leave the signals to its
// own: a handler would run on whichever thread the system picks, between any two of its instructions.
// requested() and the waits: any thread. A signal also wakes a wait.
#ifndef LUMETRA_PLAY_STOP_REQUEST_H
#define LUMETRA_PLAY_STOP_REQUEST_H

#include <signal.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

class StopRequest {
public:
    using Clock = std::chrono::steady_clock;

    StopRequest();  ///< takes over SIGINT and SIGTERM; the second of them ends the process
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    void stopAt(Clock::time_point time) { m_deadline = time; }  ///< before any wait
    bool requested() const;

    /// Waits until `file` can be read or has ended; false if the stop came first.
    bool waitReadable(int file) const;
    /// Waits until `time`; false if the stop came first.
    bool waitUntil(Clock::time_point time) const;

private:
    void receiveSignals();

    std::optional<Clock::time_point> m_deadline;
    int m_pipe[2] = {-1, -1};
    sigset_t m_signals{};
    sigset_t m_maskBefore{};
    std::atomic<bool> m_ending{false};
    std::thread m_receiver;
};

#endif
