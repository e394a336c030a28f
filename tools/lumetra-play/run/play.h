// play.h - one play as the command line asks for it: the engine with its modules, a source or a camera, and
// what is said of it at the end. One thread.
#ifndef LUMETRA_PLAY_PLAY_H
#define LUMETRA_PLAY_PLAY_H

#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/stop_request.h"

/// Says what became of it while the modules are still there: one that hangs at its end must not keep that
/// back.
/// @throws PlayError for everything that keeps it from playing
ExitStatus play(const Options& options, StopRequest& stop);

#endif
