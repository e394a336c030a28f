// synchronized.h - a value that can be reached only with its lock held.
#ifndef LUMETRA_BASE_SYNCHRONIZED_H
#define LUMETRA_BASE_SYNCHRONIZED_H

#include <condition_variable>
#include <mutex>
#include <type_traits>
#include <utility>

namespace lumetra {

/// A held lock for those who wait: it is released during each of these, and held again afterwards.
class WaitLock {
public:
    template <class Predicate>
    void wait(std::condition_variable& condition, Predicate predicate) {
        condition.wait(m_lock, predicate);
    }
    void wait(std::condition_variable& condition) { condition.wait(m_lock); }
    template <class Time>
    void waitUntil(std::condition_variable& condition, const Time& end) {
        condition.wait_until(m_lock, end);
    }
    template <class Duration, class Predicate>
    void waitFor(std::condition_variable& condition, const Duration& longest, Predicate predicate) {
        condition.wait_for(m_lock, longest, predicate);
    }
    /// Runs `use`, which must not touch the value.
    template <class Use>
    void runUnlocked(Use use) {
        m_lock.unlock();
        use();
        m_lock.lock();
    }

private:
    template <class T>
    friend class Synchronized;
    explicit WaitLock(std::mutex& mutex) : m_lock(mutex) {}

    std::unique_lock<std::mutex> m_lock;
};

/// Any thread may use it. What `use` is given must not be kept beyond the call: results are returned by
/// value, and are no pointers.
template <class T>
class Synchronized {
public:
    Synchronized() = default;
    explicit Synchronized(T value) : m_value(std::move(value)) {}
    Synchronized(const Synchronized&) = delete;
    Synchronized& operator=(const Synchronized&) = delete;

    T copy() const {
        return with([](const T& value) { return value; });
    }

    /// Runs `use` on the value with the lock held. Never call out of the library from there.
    template <class Use>
    auto with(Use&& use) {
        refuseToOutliveTheLock<std::invoke_result_t<Use, T&>>();
        const std::lock_guard lock(m_mutex);
        return std::forward<Use>(use)(m_value);
    }
    template <class Use>
    auto with(Use&& use) const {
        refuseToOutliveTheLock<std::invoke_result_t<Use, const T&>>();
        const std::lock_guard lock(m_mutex);
        return std::forward<Use>(use)(m_value);
    }

    /// The same for a `use` that waits: its second argument is a WaitLock.
    template <class Use>
    auto waitWith(Use&& use) {
        refuseToOutliveTheLock<std::invoke_result_t<Use, T&, WaitLock&>>();
        WaitLock lock(m_mutex);
        return std::forward<Use>(use)(m_value, lock);
    }

private:
    template <class Result>
    static constexpr void refuseToOutliveTheLock() {
        static_assert(!std::is_reference_v<Result> && !std::is_pointer_v<Result>,
                      "it would outlive the lock");
    }

    mutable std::mutex m_mutex;
    T m_value{};
};

}  // namespace lumetra

#endif
