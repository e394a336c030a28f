// level_dump.h - the levels of a chunk as image files, for whoever debugs a camera. Any thread.
#ifndef LUMETRA_IMAGE_LEVEL_DUMP_H
#define LUMETRA_IMAGE_LEVEL_DUMP_H

#include <cstdint>
#include <string>

#include "LumetraCore/IChnk.h"

namespace lumetra {

/// Writes the levels of a grey or RGB chunk, level 0 or with LUMETRA_CONVERT_PYRAMID all that are set.
/// Failures are reported on standard output only.
void dumpLevels(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, const std::string& writablePath);

/// "PATH/dbg_INDEX_lvl_LEVEL.EXTENSION", cut to 127 bytes.
std::string dumpName(const std::string& path, std::int32_t frameIndex, int level, const char* extension);

}  // namespace lumetra

#endif
