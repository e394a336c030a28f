// live_view.cpp - as commands.
#include "tools/lumetra-play/modules/live_view.h"

#include <atomic>

#include "tools/lumetra-play/run/text.h"

namespace live_view {

namespace {

std::atomic<decltype(&LumetraCore_command)> function = nullptr;

void send(std::int32_t number, const std::u16string& text) {
    // What is logged while the module takes a line would be the next line for it to take.
    thread_local bool sending = false;
    const auto command = function.load();
    if (sending || command == nullptr) return;
    sending = true;
    try {
        command(LIVEVIEW_ID, LUMETRA_CMDTYPE(number), text.c_str());
    } catch (...) {  // it would be the caller's, who knows nothing of a view
    }
    sending = false;
}

}  // namespace

void handOnBy(decltype(&LumetraCore_command) command) {
    function = command;
}

void handOnResult(const std::string& module, const std::string& json) {
    send(LIVEVIEW_CMD_RESULT, toUtf16(module + " " + json));
}

void handOnLine(const char16_t* line) {
    send(LIVEVIEW_CMD_LOG, line);
}

}  // namespace live_view
