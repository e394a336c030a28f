// FrameMonitor.h - what a host needs to know of the module FrameMonitor: its id, commands and statuses.
// The module counts the frames that reach it and tells their rate, their latency and their grey levels.
// Grey levels are measured on a thread of its own, from the first configuration or CB_LOG on; frames that
// come while it is busy are counted but not measured. A report waits for the newest frame's.
//
// Configuration: a JSON object, every member optional; a value of another type counts as missing.
//   "reportFile"  path of a file that every report replaces; by default there is none
//   "histogram"   false leaves out the 256 bins, which makes a frame cheaper; by default true
//   "digest"      true logs one line for every frame with a digest of each level's bytes; by default false.
//                 Computed on the engine's worker, before the notification returns: a thread of its own
//                 would skip frames while it is busy, and whoever compares digests, such as lumetra-play
//                 with --check, needs every frame's. It holds conversions up meanwhile.
// A frame's latency is the time from "timestampUs" in its descriptor (an integer: microseconds of the
// system clock), or else from the chunk's id, until the module is called.
//
// Everything goes out as one line of ASCII JSON through CB_LOG, at level 0:
//   {"frameMonitor":"report","frames":..,"distinct":..,"duplicates":..,"unread":..,"measured":..,
//    "fps":..,"recentFps":..,"latencyUs":{"count":..,"median":..,"p99":..,"max":..},"mean":..,
//    "newest":{"frame":..,"width":..,"height":..,"mean":..,"histogram":[256 numbers]}}
//   {"frameMonitor":"frame","frame":..,"width":..,"height":..,"digests":["16 hex digits" or null, 8 times]}
// A digest is that of pixel_digest.h; null stands for a level that is not there. A frame is counted after
// its digests have been logged. The log function must not change the module's callbacks.
#ifndef LUMETRA_FRAMEMONITOR_H
#define LUMETRA_FRAMEMONITOR_H

#include <cstdint>

#include <LumetraCore/LumetraTypes.h>

constexpr std::int32_t FRAMEMONITOR_ID = 101;

/// Commands; LUMETRA_CMD_STOP pauses and LUMETRA_CMD_START resumes. While paused frames are not counted.
enum : std::int32_t {
    /// Reports. 1: the report went to the log, the file or both; 0: to neither, or the file failed.
    FRAMEMONITOR_CMD_REPORT = LUMETRA_CMD_MODULE_FIRST,
    /// Forgets all figures and the newest frame. 1.
    FRAMEMONITOR_CMD_RESET,
    /// Writes the newest frame's levels as PREFIX_lvl_0.pgm to PREFIX_lvl_7.pgm; the text is PREFIX. A level
    /// without pixels has no file. The number of files; 0 if there is no grey frame or one cannot be written.
    FRAMEMONITOR_CMD_SNAPSHOT,
    /// The number of distinct frames; with a decimal number as text, of those with a smaller frame index
    /// (exact among the last 4096).
    FRAMEMONITOR_CMD_COUNT
};

/// Statuses besides STATUS_READY, which says that frames arrive.
enum : std::int32_t {
    FRAMEMONITOR_STATUS_IDLE = 2,   ///< no frame for a second
    FRAMEMONITOR_STATUS_PAUSED = 4  ///< by LUMETRA_CMD_STOP
};

#endif
