// process_wide.h - the one object of its type that a process has.
#ifndef LUMETRA_BASE_PROCESS_WIDE_H
#define LUMETRA_BASE_PROCESS_WIDE_H

#include <new>

namespace lumetra {

/// Made at its first use, in no memory of the heap, and never destroyed: threads may use it while the process
/// ends.
template <class T>
T& processWide() {
    alignas(T) static unsigned char place[sizeof(T)];
    static T& object = *new (place) T;
    return object;
}

}  // namespace lumetra

#endif
