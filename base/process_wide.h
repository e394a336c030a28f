// process_wide.h - one object per process.
#ifndef LUMETRA_BASE_PROCESS_WIDE_H
#define LUMETRA_BASE_PROCESS_WIDE_H

#include <new>

namespace lumetra {

/// Constructed at first use in static storage and never destroyed: threads may use it during process exit.
template <class T>
T& processWide() {
    alignas(T) static unsigned char place[sizeof(T)];
    static T& object = *new (place) T;
    return object;
}

}  // namespace lumetra

#endif
