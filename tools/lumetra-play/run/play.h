// play.h - one play as the command line asks for it: the engine with its modules, a source or a camera, and
// what is to be said of it at the end. One thread.
#ifndef LUMETRA_PLAY_PLAY_H
#define LUMETRA_PLAY_PLAY_H

#include <functional>

#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/summary.h"

/// @param finish  called once after the last frame, while the engine and its modules are still there: one
/// that
///                hangs at its end must not keep the summary back
/// @throws PlayError for everything that keeps it from playing
void play(const Options& options, StopRequest& stop, const std::function<void(const Summary&)>& finish);

#endif
