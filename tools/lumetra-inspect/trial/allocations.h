// allocations.h - this program's memory: how much is in use, and a shortage of it on demand.
// It stands in front of the C library's own functions, which every module, its libraries and operator new
// use.
#ifndef LUMETRA_INSPECT_ALLOCATIONS_H
#define LUMETRA_INSPECT_ALLOCATIONS_H

#include <cstddef>

/// False in a build with a sanitizer, which has functions of its own; then nothing below has an effect.
bool allocationsAreWatched();

/// Bytes that are allocated now, in the whole process.
std::ptrdiff_t allocatedBytes();

/// While it lives, the allocation with that number, from 1 on, of this thread finds no memory, and so do
/// those after it.
class AllocationFailure {
public:
    explicit AllocationFailure(long number);
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;

    /// Whether it came to that.
    bool happened() const;
};

/// While it lives, this thread's allocations neither count nor fail: for this program's own work amid a call.
class AllocationPause {
public:
    AllocationPause();
    ~AllocationPause();
    AllocationPause(const AllocationPause&) = delete;
    AllocationPause& operator=(const AllocationPause&) = delete;

private:
    bool m_before;
};

#endif
