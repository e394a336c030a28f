// summary.h - what is said at the end, as text for people or as JSON for scripts, and the exit status.
#ifndef LUMETRA_PLAY_SUMMARY_H
#define LUMETRA_PLAY_SUMMARY_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/lumetra-play/view/progress.h"
#include "tools/support/text.h"

struct Summary {
    SourceFacts source;
    Picture picture;         ///< as pushed
    std::int32_t flags = 0;  ///< LUMETRA_CONVERSIONMODIFIER
    bool pyramid = false;    ///< every frame was pushed with its smaller levels

    std::int64_t pushed = 0, refused = 0;  ///< frames; the refused are among the pushed
    Usage usage;                           ///< from the first push until the last frame was delivered
    MonitorReport monitor;
    Json modules = Json::array();  ///< as EngineSession reports them
    output::LogCounts log;
    std::optional<PixelCheck::Result> check;
    Json host;          ///< with a camera: what its host counted; else null
    std::string sheet;  ///< path; empty if none was asked for
    std::string page;   ///< of the live view; empty without
    std::string error;  ///< what went wrong all the same

    std::int64_t dropped() const { return pushed - monitor.distinct; }  ///< refused ones too
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
