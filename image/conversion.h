// conversion.h - what becomes of one chunk's pixels, and the names of its dump files. No engine needed.
#ifndef LUMETRA_IMAGE_CONVERSION_H
#define LUMETRA_IMAGE_CONVERSION_H

#include <cstdint>
#include <string>

#include "LumetraCore/IChnk.h"

/// How many of the steps that the flags ask for do not exist for the chunk's format and are left out.
int unsupportedSteps(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap);

/// Turns a chunk grey in place, flips it, converts the levels that came with it or derives them, as far as
/// the flags ask and its format allows (docs/conversion.md). The chunk is laid out as intake lays it out.
/// @param mipMap  whether levels are derived where none came along
void convertPixels(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap);

/// The format that convertPixels leaves behind, and nothing else of it: for a chunk whose pixels nobody sees.
void markConverted(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags);

/// Writes the levels of a grey or RGB chunk, level 0 or with LUMETRA_CONVERT_PYRAMID all that are set.
/// Failures are told on standard output only.
void dumpLevels(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, const std::string& writablePath);

/// "PATH/dbg_INDEX_lvl_LEVEL.EXTENSION", cut to 127 bytes.
std::string dumpName(const std::string& path, std::int32_t frameIndex, int level, const char* extension);

#endif
