// module_threads.h - what goes on with modules while frames flow, each on a thread until its `end`.
#ifndef LUMETRA_PLAY_MODULE_THREADS_H
#define LUMETRA_PLAY_MODULE_THREADS_H

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/stop_request.h"

/// Obeys standard input: NAME:NUMBER[=TEXT] a line, q to end. A terminal is read only from its foreground.
void readCommands(EngineSession& engine, StopRequest& stop, const StopSignal& end);

/// Reloads watched modules when their files change; looks twenty times a second.
void watchModules(EngineSession& engine, const MonitorLink& monitor, const StopSignal& end);

#endif
