// sheet.h - the contact sheet: the last frame in colour beside the levels that modules received. One thread.
#ifndef LUMETRA_PLAY_SHEET_H
#define LUMETRA_PLAY_SHEET_H

#include <array>
#include <optional>
#include <string>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/view/canvas.h"

/// Grey levels as modules have them, in RGB; nothing for a level that is absent or empty.
using ShownLevels = std::array<std::optional<RgbImage>, LEVEL_COUNT>;

/// The newest frame's levels, by way of files in a temporary folder that is gone afterwards.
/// @throws PlayError if no folder can be made
ShownLevels fetchLevels(const MonitorLink& monitor, const LibraryTable& library);

/// Colour | level 0 | level 1 above 2 and 3 above 4 to 7. Small pictures and small levels are enlarged by
/// whole numbers, so that every pixel can be seen; very large ones are thinned out.
RgbImage composeSheet(const RgbImage& pushed, const char* formatName, const ShownLevels& levels);

#endif
