// checks.h - what the targets, and the module that one of them loads, hold the library to.
#ifndef LUMETRA_FUZZ_SUPPORT_CHECKS_H
#define LUMETRA_FUZZ_SUPPORT_CHECKS_H

#include <sanitizer/asan_interface.h>

#include <cstdio>
#include <cstdlib>

#include "image/pixel_formats.h"

/// Ends the process, which makes the input a finding, unless it holds.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
}

/// Requires memory behind every pixel that a chunk tells of.
template <class Chunk>
void checkLevels(const Chunk& chunk) {
    for (int k = 0; k < lumetra::PYRAMID_LEVELS; ++k) {
        const auto bytes = lumetra::pictureBytes(chunk.format, chunk.width >> k, chunk.height >> k);
        if (unsigned char* const level = chunk.data->lvl[k]; level != nullptr)
            require(__asan_region_is_poisoned(level, bytes) == nullptr, "every pixel of a level is there");
    }
}

#endif
