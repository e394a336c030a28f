// TagTracker.h - what a host needs to know of the module TagTracker: its id, configuration, commands, results
// and statuses. The module finds AprilTags, printed squares that carry a number, in grey frames.
//
// Configuration: a JSON object, every member optional; a value of another type counts as missing. Frames are
// searched from the first configuration on; "{}" is one.
//   "family"  of the tags: "tag36h11" (by default), "tag25h9", "tag16h5", "tagCircle21h7" or
//             "tagStandard41h12"
//   "level"   of the pyramid to search, 0 (by default) to 7. Each level up costs a third to a
//             half of the time and needs tags of twice the size. A frame without that level is not searched.
//   "rate"    searches a second at most, 0.01 to 1000; by default 15
//
// Only the newest frame is searched, on a thread of the module's own; frames that come meanwhile, or sooner
// than the rate has it, are skipped. Levels of 16 to 8,192 pixels a side are searched.
//
// Results go out in the form of TextResults.h, one for each frame that was searched, also if it shows no tag:
//   {"module":"TagTracker","frame":..,"width":..,"height":..,"level":..,"searchUs":..,
//    "tags":[{"id":..,"centre":[x,y],"hamming":..,"margin":..}],
//    "outlines":[{"label":"id","points":[[x,y],[x,y],[x,y],[x,y]]}]}
// Points are in pixels of level 0, whichever level was searched. The outline of a tag, of the same place in
// the list, begins with the corner at its lower left, as printed, and goes on to the lower right. "hamming"
// is the number of bits that were corrected, 2 at most; "margin" says how clearly bits were told apart, in
// grey levels.
#ifndef LUMETRA_TAGTRACKER_H
#define LUMETRA_TAGTRACKER_H

#include <cstdint>

#include <LumetraCore/LumetraTypes.h>

constexpr std::int32_t TAGTRACKER_ID = 104;

/// Commands, beside these: LUMETRA_CMD_START (3) goes on searching, LUMETRA_CMD_STOP (4) pauses; both answer
/// 1 once configured, else 0. LUMETRA_CMD_RESULTFORM (16) answers LUMETRA_RESULTFORM_TEXT.
enum : std::int32_t {
    /// 1000: the number of frames searched.
    TAGTRACKER_CMD_SEARCHED = LUMETRA_CMD_MODULE_FIRST,
    /// 1001: the number of frames skipped.
    TAGTRACKER_CMD_SKIPPED,
    /// 1002: the number of tags found, over all frames.
    TAGTRACKER_CMD_FOUND
};

/// Statuses besides STATUS_READY, which says that frames are searched.
enum : std::int32_t {
    TAGTRACKER_STATUS_STOPPED = 2,  ///< not configured yet
    TAGTRACKER_STATUS_PAUSED = 4,   ///< by LUMETRA_CMD_STOP
    TAGTRACKER_STATUS_FAILED = 5  ///< no such family, or the system has no thread for it; the log says which
};

#endif
