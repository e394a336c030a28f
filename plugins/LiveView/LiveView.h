// LiveView.h - what a host needs to know of the module LiveView: its id, configuration, command and statuses.
// The module serves a web page that shows the newest frame, its pyramid and how frames come in.
//
// Configuration: a JSON object; a value of another type counts as missing. Every configuration starts the
// server anew.
//   "port"     0 to 65535, by default 8080; 0 takes any free one
//   "address"  to listen on, by default "127.0.0.1", which only programs of this machine reach. Any other
//              shows the camera to whoever reaches that address: there is no password.
//
//   /                        the page
//   /frame.jpg?level=K       level K (0 to 7, by default 0) of the newest grey frame; 404 if there is none
//   /stream.mjpg?level=K     the same as a picture that goes on, at most 8 at once; 503 beyond
//   /stats.json {"frames":..,"lost":..,"fps":..,"latencyUs":{"median":..,"p99":..},"encodings":..,
//                            "newest":{"frame":..,"width":..,"height":..,"levels":[[width,height]..],"mean":..,
//                            "histogram":[256 numbers],"descriptor":".."}}
// Figures cover the time since somebody began to look. "lost" counts the frame numbers that were left out
// between the smallest and the greatest: frames that were lost, or numbers that the pusher skipped. "newest"
// is missing until a frame has come, and its pixels' figures if it is not grey. A descriptor is cut after
// 2,000 bytes.
//
// Nothing is computed while nobody looks: no request within three seconds. A picture is encoded once for all
// who look. The module holds the newest frame. Through CB_LOG it tells where it serves, or why not.
// Removing or configuring it waits for answers under way: a second or two, or as long as a client takes that
// sends its request in drops.
#ifndef LUMETRA_LIVEVIEW_H
#define LUMETRA_LIVEVIEW_H

#include <cstdint>

#include <LumetraCore/LumetraTypes.h>

constexpr std::int32_t LIVEVIEW_ID = 103;

enum : std::int32_t {
    /// The port on which the module serves; 0 if it does not.
    LIVEVIEW_CMD_PORT = LUMETRA_CMD_MODULE_FIRST
};

/// Statuses besides STATUS_READY, which says that the page is served.
enum : std::int32_t {
    LIVEVIEW_STATUS_STOPPED = 2,  ///< not configured yet
    LIVEVIEW_STATUS_FAILED = 5    ///< the port cannot be opened, or the system has closed it
};

#endif
