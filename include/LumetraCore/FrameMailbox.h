/// @file
/// FrameMailbox.h - hands the newest frame to a worker of the module's own, for modules that need longer with
/// a frame than a copy of it takes: notifyNewData runs on the engine's workers, which convert frames too.
///
///     lumetra::FrameMailbox mailbox;
///
///     void initialize(const char*) { mailbox.start(work); }   // void work(std::uint64_t, const IChnk&)
///     void notifyNewData(std::uint64_t id, std::shared_ptr<IChnk> chunk) { mailbox.put(id, chunk); }
///     void destroy() { mailbox.stop(); }
///
/// A queue of length one: a newer frame replaces the waiting one, which is skipped, so that the work never
/// falls behind: it sees fewer frames, each of them recent. The pixels are not copied: one reference is
/// held until the work returns.
///
/// Every function may be called on any thread, except stop(), start() and drain(), which must not be called
/// by the work itself: they wait for it. Leaves nothing behind that would keep a module's library mapped.
#ifndef LUMETRACORE_FRAMEMAILBOX_H
#define LUMETRACORE_FRAMEMAILBOX_H

#include <pthread.h>
#include <signal.h>

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include <LumetraCore/IChnk.h>

namespace lumetra {

/// Blocks the host's signals on the calling thread while it lives. A thread that is started meanwhile
/// inherits that, and takes no signal even before its first instruction; but for those that report a fault of
/// its own.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) sigdelset(&all, fault);
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

/// A queue of length one with its worker; newer frames replace older ones.
class FrameMailbox {
public:
    /// What is done with a frame, on the worker, one frame at a time. The frame is borrowed for the call, and
    /// other modules see it too: do not write to it. An exception costs that frame only, see Failure.
    using Work = std::function<void(std::uint64_t chunkId, const IChnk& chunk)>;
    /// Called on the worker with what the work threw: what() of a std::exception, else "unknown exception".
    /// What it throws itself is dropped.
    using Failure = std::function<void(const char* what)>;

    /// Each frame that was put while it ran is counted in one of the other three, at the latest by stop().
    struct Counts {
        std::uint64_t put = 0;      ///< put while it ran
        std::uint64_t done = 0;     ///< worked on
        std::uint64_t failed = 0;   ///< worked on until the work threw
        std::uint64_t skipped = 0;  ///< never worked on: replaced by a newer frame, or stopped
    };

    FrameMailbox() = default;
    FrameMailbox(const FrameMailbox&) = delete;
    FrameMailbox& operator=(const FrameMailbox&) = delete;
    /// Ends like stop().
    ~FrameMailbox() { stop(); }

    /// Starts the worker, which sees no signals of the host. One that runs is stopped before, so that
    /// initialize may call this each time. The counts go on.
    /// @throws std::system_error if no thread can be started: the mailbox is stopped then
    void start(Work work, Failure failure = nullptr) {
        const std::lock_guard<std::mutex> control(m_controlMutex);
        end();
        const SignalsBlocked inherited;
        const std::lock_guard<std::mutex> lock(m_mutex);  // the worker waits for it, and so sees m_running
        m_thread =
            std::thread([this, work = std::move(work), failure = std::move(failure)] { run(work, failure); });
        m_running = true;
    }

    /// Ends the worker and returns once it has ended: no work begins afterwards, and the frame that waits is
    /// skipped. Waits for work under way. May be called twice, and without start().
    void stop() noexcept {
        const std::lock_guard<std::mutex> control(m_controlMutex);
        end();
    }

    /// Leaves a frame for the worker; never waits for the work, only for a short lock.
    /// @param chunk  shared: held until it has been worked on or skipped; null is refused
    /// @return false if it was not taken: the mailbox is stopped, or a newer frame was put before. Frames
    ///         overtake each other by less than a second; a frame that is older by more counts as newer,
    ///         pushed after the clock was set back
    bool put(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
        if (chunk == nullptr) return false;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_running) return false;
            ++m_counts.put;
            if (wasOvertaken(chunkId)) {
                ++m_counts.skipped;
                return false;
            }
            m_newestId = chunkId;
            if (m_waiting != nullptr) ++m_counts.skipped;
            m_waiting.swap(chunk);  // what is skipped is freed after the lock
        }
        m_changed.notify_all();
        return true;
    }

    /// Waits until every frame put before has been worked on or skipped; at once when stopped.
    void drain() {
        std::unique_lock<std::mutex> lock(m_mutex);
        const std::uint64_t put = m_counts.put;
        m_changed.wait(lock, [&] { return m_counts.done + m_counts.failed + m_counts.skipped >= put; });
    }

    /// Totals since construction.
    Counts counts() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_counts;
    }

private:
    // With m_controlMutex held.
    void end() noexcept {
        if (!m_thread.joinable()) return;
        {
            std::shared_ptr<IChnk> skipped;  // freed after the lock, and before the wait
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_running = false;
            if (m_waiting != nullptr) ++m_counts.skipped;
            m_waiting.swap(skipped);
        }
        m_changed.notify_all();
        m_thread.join();
        m_newestId = 0;
    }

    void run(const Work& work, const Failure& failure) {
        for (;;) {
            std::shared_ptr<IChnk> chunk;
            std::uint64_t chunkId = 0;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_changed.wait(lock, [this] { return !m_running || m_waiting != nullptr; });
                if (!m_running) return;
                chunk.swap(m_waiting);
                chunkId = m_newestId;
            }
            const bool done = callWork(work, failure, chunkId, *chunk);
            chunk.reset();
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                ++(done ? m_counts.done : m_counts.failed);
            }
            m_changed.notify_all();
        }
    }

    // An exception that leaves a thread would end the process.
    static bool callWork(const Work& work, const Failure& failure, std::uint64_t chunkId,
                         const IChnk& chunk) {
        try {
            work(chunkId, chunk);
            return true;
        } catch (const std::exception& reason) {
            report(failure, reason.what());
        } catch (...) {
            if (std::current_exception() == nullptr) throw;  // thread cancellation: must be rethrown
            report(failure, "unknown exception");
        }
        return false;
    }

    static void report(const Failure& failure, const char* what) {
        try {
            if (failure) failure(what);
        } catch (...) {
            if (std::current_exception() == nullptr) throw;
        }
    }

    // With m_mutex held.
    bool wasOvertaken(std::uint64_t chunkId) const {
        constexpr std::uint64_t CLOCK_WAS_SET_BACK_MS = 1000;
        return chunkId < m_newestId && m_newestId - chunkId < CLOCK_WAS_SET_BACK_MS;
    }

    std::mutex m_controlMutex;  // one start or end at a time; before m_mutex. Guards the next
    std::thread m_thread;

    mutable std::mutex m_mutex;  // guards all below; never held while the work runs or a frame is freed
    std::condition_variable m_changed;  // what waits, what was done, whether it goes on
    bool m_running = false;
    std::shared_ptr<IChnk> m_waiting;
    std::uint64_t m_newestId = 0;
    Counts m_counts;
};

}  // namespace lumetra

#endif
