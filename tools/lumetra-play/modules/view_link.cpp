// view_link.cpp - commands to LiveView, none of which outlives the link.
#include "tools/lumetra-play/modules/view_link.h"

#include <mutex>
#include <shared_mutex>

#include "tools/lumetra-play/run/text.h"

namespace {

constexpr std::int32_t VIEW_ID = 103;
constexpr auto SHOW_RESULT =
    LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 1);  // text: a module, a space, its result
constexpr auto SHOW_LINE = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST + 2);  // text: a log line

std::shared_mutex currentMutex;  // guards the next; held shared while a command runs
const LibraryTable* currentLibrary = nullptr;

void setCurrent(const LibraryTable* library) {
    const std::unique_lock lock(currentMutex);
    currentLibrary = library;
}

void send(LUMETRA_CMDTYPE command, const std::u16string& text) {
    // What is logged while the view takes a line would be the next line for it to take.
    thread_local bool sending = false;
    if (sending) return;
    const std::shared_lock lock(currentMutex);
    if (currentLibrary == nullptr) return;
    sending = true;
    try {
        currentLibrary->command(VIEW_ID, command, text.c_str());
    } catch (...) {  // it would be the caller's, who knows nothing of a view
    }
    sending = false;
}

}  // namespace

ViewLink::ViewLink(const LibraryTable& library) {
    setCurrent(&library);
}

ViewLink::~ViewLink() {
    setCurrent(nullptr);
}

void ViewLink::handOnResult(const std::string& module, const std::string& json) {
    send(SHOW_RESULT, toUtf16(module + " " + json));
}

void ViewLink::handOnLine(const char16_t* line) {
    send(SHOW_LINE, line);
}
