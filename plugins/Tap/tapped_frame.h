// tapped_frame.h - a frame as a C structure that keeps its pixels until it is released. Any thread.
#ifndef LUMETRA_TAP_TAPPED_FRAME_H
#define LUMETRA_TAP_TAPPED_FRAME_H

#include <cstdint>

#include <LumetraCore/IChnk.h>
#include <LumetraCore/LumetraTap.h>

/// The pixels are shared with `chunk`, the descriptor is copied. A level that would not lie inside the
/// chunk's buffer is left out.
/// @return the caller's, to be ended by its `release`
/// @throws std::bad_alloc
const LumetraTapFrame* makeTappedFrame(std::uint64_t chunkId, const IChnk& chunk, std::uint64_t skipped);

/// How many have been made and not released.
std::uint64_t tappedFrames();

/// Keeps this library mapped as long as the process runs, so that frames can be released after its removal.
/// @return false if the loader does not know it
bool keepLibraryMapped();

#endif
