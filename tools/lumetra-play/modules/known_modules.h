// known_modules.h - what the player knows of modules: the ids, commands and statuses of those that it has a
// use of its own for, and the form in which any module may hand out its results. Theirs is the definition.
#ifndef LUMETRA_PLAY_KNOWN_MODULES_H
#define LUMETRA_PLAY_KNOWN_MODULES_H

#include <cstdint>

#include "LumetraCore/LumetraTypes.h"

/// Asks a module in which form it takes CB_TYPE2. RESULT_TEXT says: as a ResultTextFn, which then gets every
/// result as one JSON text, with the user pointer that came along, on whichever thread the module likes. Any
/// other answer means that it does not.
constexpr auto LUMETRA_CMD_RESULTFORM = LUMETRA_CMDTYPE(16);
constexpr std::int32_t RESULT_TEXT = 0x54455854;  // "TEXT"
using ResultTextFn = void (*)(void* user, const char* utf8Json);

/// Counts and measures delivered frames; logs lines of JSON, "frameMonitor" being "report" or "frame".
namespace frame_monitor {
constexpr std::int32_t ID = 101;
constexpr auto REPORT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST);
constexpr auto SNAPSHOT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 2);  // text: prefix of the PGM files
constexpr auto COUNT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 3);  // text: only frames below this number
}  // namespace frame_monitor

/// Pushes the frames of a camera; logs {"cameraSource":"report","pushed":..,"refused":..} when asked.
namespace camera_source {
constexpr std::int32_t ID = 102;
constexpr auto REPORT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST);
constexpr std::int32_t STATUS_FAILED = 5;
}  // namespace camera_source

/// Serves a web page; configured by {"port":..,"address":".."}.
namespace live_view {
constexpr std::int32_t ID = 103;
constexpr auto PORT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST);  // 0: it does not serve
}  // namespace live_view

#endif
