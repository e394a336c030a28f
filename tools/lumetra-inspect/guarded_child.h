// guarded_child.h - running what may crash, hang or end the process in a process of its own.
#ifndef LUMETRA_INSPECT_GUARDED_CHILD_H
#define LUMETRA_INSPECT_GUARDED_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// What a child told, line by line. Any thread of the child may tell; each line goes out before the call
/// returns, so that nothing is lost when the next thing crashes.
class ChildLines {
public:
    explicit ChildLines(int descriptor) : m_descriptor(descriptor) {}
    /// @param kind  one word; line breaks in `text` become spaces
    void tell(std::string_view kind, std::string_view text) const;
    /// What the work's return does, for work that ends the process itself.
    void tellFinished() const;

private:
    mutable std::mutex m_mutex;  // one line at a time
    int m_descriptor;
};

struct ChildLine {
    std::string kind, text;
};

struct ChildResult {
    std::vector<ChildLine> lines;
    bool finished = false;  // the work returned
    std::string fault;      // otherwise how the child ended, such as "crashed (Segmentation fault)"
};

struct ChildOptions {
    std::chrono::milliseconds limit{10000};
    bool keepErrors = true;  // the child writes to this program's standard error; it has no output
};

/// A child at work. The program that starts it must have no other threads.
class GuardedChild {
public:
    /// @throws std::system_error no pipe or no process
    GuardedChild(const std::function<void(const ChildLines&)>& work, const ChildOptions& options);
    ~GuardedChild();
    GuardedChild(const GuardedChild&) = delete;
    GuardedChild& operator=(const GuardedChild&) = delete;

    /// Takes what has arrived; whether the child has ended, or has had its time.
    bool isOver();
    /// Of one that is over: ends it with all that it started, and says what it told.
    ChildResult takeResult();

    /// Waits until one of these has something to say, but not for long.
    /// @throws Interrupted see interruption.h
    static void wait(const std::vector<GuardedChild*>& children);

private:
    using Clock = std::chrono::steady_clock;
    enum class End { None, Child, Time, Output };

    void readAll();
    std::string describe(int status) const;

    const std::chrono::milliseconds m_limit;
    const Clock::time_point m_deadline;
    pid_t m_child = -1;
    int m_descriptor = -1;
    bool m_open =
        true;  // the pipe alone does not tell: a module may close it, or leave it to another process
    End m_end = End::None;
    std::string m_output = "\n";
};

/// Runs `work` in a child and waits for it.
/// @throws std::system_error no pipe or no process
/// @throws Interrupted see interruption.h
ChildResult runGuarded(const std::function<void(const ChildLines&)>& work, const ChildOptions& options);

#endif
