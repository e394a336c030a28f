// text_module.cpp - a module for the player's tests: hands out texts, answers commands, and does harm if its
// configuration says so. MODULE_VERSION comes from the build, so that a new version can be told from an old
// one.
#include <LumetraCore/LumetraModule.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "tools/lumetra-play/modules/known_modules.h"

namespace {

std::mutex textMutex;  // held while the function runs
ResultTextFn textFunction = nullptr;
void* textUser = nullptr;
std::atomic<bool> hanging = false;
// A plain array: the end of a library's text and the beginning of the next one's, which may lie at the same
// address, are in an order that the loader keeps and the thread sanitizer does not see.
char configured[64];

void handOut(const std::string& json) {
    const std::lock_guard lock(textMutex);
    if (textFunction != nullptr) textFunction(textUser, json.c_str());
}

}  // namespace

std::int32_t getModuleID() {
    return 60;
}

void initialize(const char* configuration) {
    std::snprintf(configured, sizeof configured, "%s", configuration);
    hanging = std::string_view(configured) == "hang";
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind != CB_TYPE2) return 0;
    const std::lock_guard lock(textMutex);
    textFunction = reinterpret_cast<ResultTextFn>(function);
    textUser = user;
    return 1;
}

int command(LUMETRA_CMDTYPE number, const char* text) {
    if (number == LUMETRA_CMD_RESULTFORM) return RESULT_TEXT;
    if (number != LUMETRA_CMDTYPE(1000)) return 0;
    handOut("{\"version\":" + std::to_string(MODULE_VERSION) + ",\"heard\":\"" + text +
            "\",\n\"configured\":\"" + configured + "\"}");
    return MODULE_VERSION;
}

void notifyNewData(std::uint64_t, std::shared_ptr<IChnk> chunk) {
    while (hanging) std::this_thread::sleep_for(std::chrono::hours(1));
    handOut("{\"frame\":" + std::to_string(chunk->frameIndex) + "}");
}

std::int32_t getStatus() {
    return 7;
}

void destroy() {
    const std::lock_guard lock(textMutex);
    textFunction = nullptr;
}
