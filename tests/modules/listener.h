// listener.h - what a host gives the listening module as CB_TYPE2: its user pointer comes back with every
// frame.
#ifndef LUMETRA_TESTS_MODULES_LISTENER_H
#define LUMETRA_TESTS_MODULES_LISTENER_H

#include <LumetraCore/IChnk.h>

/// Runs on the engine's workers, several at once.
using ListenFn = void(void* user, std::uint64_t chunkId, const IChnk& chunk);

#endif
