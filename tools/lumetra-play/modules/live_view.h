// live_view.h - hands results of modules and log lines on to the page of the module LiveView. Any thread.
#ifndef LUMETRA_PLAY_LIVE_VIEW_H
#define LUMETRA_PLAY_LIVE_VIEW_H

#include <string>

#include "plugins/LiveView/LiveView.h"
#include "tools/support/library_table.h"

namespace live_view {

/// The library's function for commands, while the module is loaded; null hands on nothing.
void handOnBy(decltype(&LumetraCore_command) command);

void handOnResult(const std::string& module, const std::string& json);
void handOnLine(const char16_t* line);

}  // namespace live_view

#endif
