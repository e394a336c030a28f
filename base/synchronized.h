// synchronized.h - a value that is reached only through its lock, so that no rule about locks is left to
// comments.
#ifndef LUMETRA_BASE_SYNCHRONIZED_H
#define LUMETRA_BASE_SYNCHRONIZED_H

#include <mutex>
#include <type_traits>
#include <utility>

namespace lumetra {

/// Any thread may use it. What `use` is given must not be kept beyond the call: results are returned by
/// value.
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
        static_assert(!std::is_reference_v<std::invoke_result_t<Use, T&>>, "it would outlive the lock");
        const std::lock_guard lock(m_mutex);
        return std::forward<Use>(use)(m_value);
    }
    template <class Use>
    auto with(Use&& use) const {
        static_assert(!std::is_reference_v<std::invoke_result_t<Use, const T&>>, "it would outlive the lock");
        const std::lock_guard lock(m_mutex);
        return std::forward<Use>(use)(m_value);
    }

    /// The same for a `use` that waits on a condition variable with the lock, its second argument.
    template <class Use>
    auto waitWith(Use&& use) {
        std::unique_lock lock(m_mutex);
        return std::forward<Use>(use)(m_value, lock);
    }

private:
    mutable std::mutex m_mutex;
    T m_value{};
};

}  // namespace lumetra

#endif
