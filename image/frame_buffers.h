// frame_buffers.h - the pixel buffer of a chunk: allocated once, laid out once, freed with its last owner.
#ifndef LUMETRA_IMAGE_FRAME_BUFFERS_H
#define LUMETRA_IMAGE_FRAME_BUFFERS_H

#include <cstdint>

#include "LumetraCore/IChnk.h"

/// Gives a chunk without pixels its buffer, uninitialised, and sets its `size`. A grey chunk's buffer has
/// room for seven derived levels even where `size` does not say so: whether they are derived is decided
/// later, by the configuration of that moment.
/// @param bytes  the size to be told, at least level 0 of the chunk's format
/// @throws std::bad_alloc
void allocatePixels(IChnk& chunk, std::int32_t bytes);

/// Sets lvl[1] to lvl[7] behind lvl[0], each right behind the level before it.
void layOutLevels(IChnk& chunk);

#endif
