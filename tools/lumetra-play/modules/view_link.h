// view_link.h - hands results of modules and log lines on to the live view's page, while there is one. Any
// thread.
#ifndef LUMETRA_PLAY_VIEW_LINK_H
#define LUMETRA_PLAY_VIEW_LINK_H

#include <string>

#include "tools/support/library_table.h"

/// Made once the modules are loaded, ended before the library, one at a time; its functions hand on nothing
/// outside of that, and nobody takes it if LiveView is not there.
class ViewLink {
public:
    explicit ViewLink(const LibraryTable& library);
    ~ViewLink();
    ViewLink(const ViewLink&) = delete;
    ViewLink& operator=(const ViewLink&) = delete;

    static void handOnResult(const std::string& module, const std::string& json);
    static void handOnLine(const char16_t* line);
};

#endif
