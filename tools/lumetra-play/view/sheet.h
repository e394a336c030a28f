// sheet.h - the contact sheet: the last frame in colour and the levels that modules received, as tiles of
// one size, three in a row: the frame and levels 0 and 1, levels 2 to 4, levels 5 to 7. One thread.
#ifndef LUMETRA_PLAY_SHEET_H
#define LUMETRA_PLAY_SHEET_H

#include <string>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/support/module_files.h"

/// Asks the module for the newest frame's levels, by way of files in `scratch`. Every pixel is enlarged or
/// left out alike; levels that are missing are left out.
/// @param pushed  level 0 of the last frame, of `picture`
/// @throws PlayError if the file at `path` cannot be written
void writeSheet(const std::string& path, const Picture& picture, const Bytes& pushed,
                const MonitorLink& monitor, const LibraryTable& library, const ScratchFolder& scratch);

#endif
