// summary.h - what is said at the end, on standard output.
#ifndef LUMETRA_PLAY_SUMMARY_H
#define LUMETRA_PLAY_SUMMARY_H

#include <optional>
#include <string>

#include "tools/lumetra-play/modules/host_exchange.h"
#include "tools/lumetra-play/pixels/pixel_check.h"
#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/player.h"

struct Summary {
    std::string sourceName;
    Picture picture;
    PlayResult play;
    LogCounts log;
    std::optional<PixelCheck::Result> check;
    std::string sheet;                       ///< path; empty if none was asked for
    std::string remark;                      ///< of the source; may be empty
    std::optional<ExchangeCounts> exchange;  ///< with a camera
};

std::string summaryText(const Summary& summary);

/// Whether a check that was asked for found every pixel right, and at least one frame to look at.
bool checkPassed(const Summary& summary);

#endif
