// CameraSource.h - what a host needs to know of the module CameraSource: its id, commands and statuses.
// The module owns a camera, or something that stands in for one, and pushes its frames into the engine.
//
// The host hands it the engine's push function: registerCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE, any
// function, null). CB_LOG, likewise, says what goes wrong and takes reports.
//
// Configuration: a JSON object; a value of another type counts as missing.
//   "source"  "scene" (by default: moving waves, discs and bars), the path of a video device, or that of a
//             file or named pipe of raw frames
//   "width", "height"  pixels, required: those of the engine's configuration
//   "format"  "rgb", "bgr", "bgra", "yuyv" (by default) or "gray": that of the engine's configuration
//   "fps"     frames a second of a scene or file, 0.01 to 500, by default 30; a device is asked for it, and a
//             pipe sets its own. No two frames are pushed within 2 ms.
//   "loop"    true begins a file again at its end
// Size and format must be the engine's own: it reads as many bytes as its configuration says.
//
// Every frame carries the descriptor {"source":"CameraSource","frame":..,"timestampUs":..}, the time being
// the system clock's, right before the push. The push function, the host's text function that it calls and
// the log function also run on the camera's thread, which every command that starts or stops waits for: they
// must not command or configure this module.
#ifndef LUMETRA_CAMERASOURCE_H
#define LUMETRA_CAMERASOURCE_H

#include <cstdint>

#include <LumetraCore/LumetraTypes.h>

constexpr std::int32_t CAMERASOURCE_ID = 102;

/// Besides LUMETRA_CMD_START (1: frames come; 0: not configured or no push function) and LUMETRA_CMD_STOP (1,
/// once the last frame has been pushed). A new configuration stops too.
enum : std::int32_t {
    /// Logs {"cameraSource":"report","pushed":..,"refused":..,"status":..}, counted since the start. 1.
    CAMERASOURCE_CMD_REPORT = LUMETRA_CMD_MODULE_FIRST
};

/// Statuses besides STATUS_READY, which says that frames come.
enum : std::int32_t {
    CAMERASOURCE_STATUS_STOPPED = 2,
    CAMERASOURCE_STATUS_ENDED = 4,  ///< the file is over, or the pipe was closed
    CAMERASOURCE_STATUS_FAILED = 5  ///< the log says why
};

#endif
