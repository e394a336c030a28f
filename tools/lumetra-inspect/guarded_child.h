// guarded_child.h - running what may crash, hang or end the process in a process of its own.
#ifndef LUMETRA_INSPECT_GUARDED_CHILD_H
#define LUMETRA_INSPECT_GUARDED_CHILD_H

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

/// Runs `work` in a child, without standard output, and waits for it at most `limit`. The caller must have
/// no other threads.
/// @throws std::system_error no pipe or no process
ChildResult runGuarded(const std::function<void(const ChildLines&)>& work, std::chrono::milliseconds limit);

#endif
