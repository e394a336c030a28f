// LiveView.h - what a host needs to know of the module LiveView: its id, configuration, command and statuses.
// The module serves a web page that shows the newest frame, its pyramid and how frames come in, and what the
// host hands on: results of other modules, with their outlines over the picture, and log lines.
//
// Configuration: a JSON object; a value of another type counts as missing. Every configuration starts the
// server anew.
//   "port"     0 to 65535, by default 8080; 0 takes any free one
//   "address"  to listen on, by default "127.0.0.1", which only programs of this machine reach. Any other
//              shows the camera to whoever reaches that address: there is no password.
//   "name"     by which others call this machine, such as "board.local". Requests that call it by a name that
//              is neither this one, nor the configured address, nor any numeric address, nor localhost are
//              refused: they may come from a page of somebody else.
//
//   /            the page; pages of others may link to it, and to nothing else
//   /frame.jpg?level=K
//                level K (0 to 7, by default 0) of the newest grey frame; 404 with a reason if there is none.
//                X-Lumetra-Picture names the picture, X-Lumetra-Frame its frame index, X-Lumetra-Size the
//                frame's size, X-Lumetra-Age-Ms the time since it came. With &after=NAME of the newest
//                picture the answer is 204 without it.
//   /stats.json  {"frames":..,"missing":..,"fps":..,"latencyUs":{"median":..,"p99":..},"encodings":..,
//                "newest":{"frame":..,"width":..,"height":..,"format":..,"levels":[[width,height]..],
//                "mean":..,"histogram":[256 numbers],"descriptor":"..","ageMs":..}}
//   /texts.json?after=N
//                {"instance":"..","next":..,"results":[{"ageMs":..,"module":"..","result":{..}}..],
//                "log":[{"ageMs":..,"line":".."}..]}: what came after the answer whose "next" was N. Another
//                "instance" is another loading of the module, whose numbers begin anew.
//
// Figures cover the time since somebody began to look. "missing" counts the frame numbers not received
// between the smallest and the greatest: dropped, or never pushed. "newest" is left out until a frame has
// come, and its pixels' figures if it is not grey. A descriptor is cut after 2,000 bytes. Eight pages look at
// once, told apart by &viewer=NAME; a ninth gets 503 and a reason. A page that has not asked for three
// seconds leaves its place.
//
// Nothing is computed while nobody looks: no request within three seconds. A picture is encoded once for all
// who look, when the first of them asks. The module holds the newest frame. Through CB_LOG it tells where it
// serves, or why not. One thread answers; a request has 16 KiB and 64 headers and parameters at most, and ten
// seconds to arrive once others wait. Removing or configuring the module ends every connection at once.
#ifndef LUMETRA_LIVEVIEW_H
#define LUMETRA_LIVEVIEW_H

#include <cstdint>

#include <LumetraCore/LumetraTypes.h>

constexpr std::int32_t LIVEVIEW_ID = 103;

enum : std::int32_t {
    /// The port on which the module serves; 0 if it does not.
    LIVEVIEW_CMD_PORT = LUMETRA_CMD_MODULE_FIRST,
    /// A result of another module, for the page; the text is the module's name, a space and the result in the
    /// form of TextResults.h. The newest 64 are kept. 1; 0 if it is none, or longer than 16,384 bytes.
    LIVEVIEW_CMD_RESULT,
    /// A log line, for the page; the newest 200 are kept, cut after 1,000 bytes. 1.
    LIVEVIEW_CMD_LOG
};

/// Statuses besides STATUS_READY, which says that the page is served.
enum : std::int32_t {
    LIVEVIEW_STATUS_STOPPED = 2,  ///< not configured yet
    LIVEVIEW_STATUS_FAILED = 5    ///< the port cannot be opened, or the system has closed it
};

#endif
