// summary.h - what is said at the end, as text for people or as JSON for scripts, and the exit status.
#ifndef LUMETRA_PLAY_SUMMARY_H
#define LUMETRA_PLAY_SUMMARY_H

#include <optional>
#include <string>
#include <vector>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/modules/camera_host.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/player.h"
#include "tools/lumetra-play/view/output.h"

struct Summary {
    SourceFacts source;
    Picture picture;  ///< as pushed
    PlaySettings settings;
    PlayResult play;
    std::vector<ModuleReport> modules;
    output::LogCounts log;
    std::optional<PixelCheck::Result> check;
    std::string sheet;                       ///< path; empty if none was asked for
    std::string page;                        ///< of the live view; empty without
    std::string remark, error;               ///< of the source; may be empty
    std::optional<ExchangeCounts> exchange;  ///< with a camera
};

/// Lines for people, without the last line's end.
std::string summaryText(const Summary& summary);
/// One JSON document, in one line.
std::string summaryJson(const Summary& summary, ExitStatus status);
/// The same for a run that could not go on.
std::string errorJson(const std::string& message, ExitStatus status);

/// @param strict  a dropped frame is a failure
ExitStatus statusOf(const Summary& summary, bool interrupted, bool strict);

#endif
