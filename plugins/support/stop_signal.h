// stop_signal.h - a wish to end that ends every wait. raise() and the waits: any thread; clear(): while
// nobody waits.
#ifndef LUMETRA_PLUGINS_SUPPORT_STOP_SIGNAL_H
#define LUMETRA_PLUGINS_SUPPORT_STOP_SIGNAL_H

#include <chrono>

class StopSignal {
public:
    using Clock = std::chrono::steady_clock;

    StopSignal() = default;
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void raise();  ///< after the first clear()
    /// Before the first wait. @throws std::runtime_error if there is no descriptor left
    void clear();
    bool isRaised() const { return !waitUntil(Clock::time_point::min()); }
    /// Readable while it is raised; -1 before the first clear().
    int descriptor() const { return m_pipe[0]; }

    enum class Wait { Readable, Closed, Stopped, TimeIsUp };  ///< Closed: the other end is, or an error waits
    /// @param file  a descriptor; -1: for nothing but the time
    Wait waitReadable(int file, Clock::time_point until = Clock::time_point::max()) const;
    /// False if the signal came first.
    bool waitUntil(Clock::time_point time) const { return waitReadable(-1, time) != Wait::Stopped; }

private:
    int m_pipe[2] = {-1, -1};  // readable at [0] while the signal is raised; opened by the first clear()
};

#endif
