// stop_request.h - the wish to end: Ctrl-C, a termination signal, a hang-up, or a point in time.
// One object at a time, made by main() before any other thread, so that all of them leave the signals to its
// own: a handler would run on whichever thread the system picks, between any two of its instructions.
// requested() and the waits: any thread. A signal also wakes a wait.
#ifndef LUMETRA_PLAY_STOP_REQUEST_H
#define LUMETRA_PLAY_STOP_REQUEST_H

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "plugins/support/stop_signal.h"

/// A worker thread that ends with this: its work gets a signal and returns soon after that is raised.
class Companion {
public:
    template <class Work>
    explicit Companion(Work work) {
        m_end.clear();
        m_thread = std::thread([this, work] { work(m_end); });
    }
    ~Companion() {
        m_end.raise();
        m_thread.join();
    }

private:
    StopSignal m_end;
    std::thread m_thread;
};

class StopRequest {
public:
    using Clock = std::chrono::steady_clock;

    StopRequest();
    ~StopRequest();

    void stopAfter(double seconds);  ///< before any wait
    /// As asked, from inside the program. From then on, as after the first signal, another one ends the
    /// process at once, and who waits for two seconds is told what for.
    void stop();
    bool requested() const;
    bool interrupted() const { return m_interrupted; }  ///< by a signal

    /// Waits until `file` can be read or has ended; false if the stop came first.
    bool waitReadable(int file) const;
    /// Waits until `time`; false if the stop came first.
    bool waitUntil(Clock::time_point time) const;

private:
    void receiveSignals(const StopSignal& end);

    Clock::time_point m_deadline = Clock::time_point::max();
    StopSignal m_stop;
    std::atomic<bool> m_stopped = false, m_interrupted = false;
    int m_signals = -1;  // a signalfd
    std::optional<Companion> m_receiver;
};

/// What the program waits for as long as this lives: whoever waits too long, or ends it by a signal, is told.
class WaitingFor {
public:
    /// @param what  such as "the module NAME to be loaded"
    explicit WaitingFor(std::string what) : m_what(std::move(what)) {
        const std::lock_guard lock(s_mutex);
        s_all.push_back(this);
    }
    ~WaitingFor() {
        const std::lock_guard lock(s_mutex);
        std::erase(s_all, this);
    }

    WaitingFor(const WaitingFor&) = delete;
    WaitingFor& operator=(const WaitingFor&) = delete;

    static std::string all();  ///< what is waited for now, oldest first; empty if nothing is

private:
    const std::string m_what;
    static inline std::mutex s_mutex;  // guards the next
    static inline std::vector<const WaitingFor*> s_all;
};

#endif
