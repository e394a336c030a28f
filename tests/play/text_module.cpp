// text_module.cpp - a module for the player's tests: hands out texts, answers commands, and does harm if its
// configuration says so. MODULE_VERSION comes from the build, so that a new version can be told from an old
// one, and MODULE_ID, so that one can take LiveView's place: it hands out what it is told to show.
#include <LumetraCore/LumetraModule.h>
#include <LumetraCore/TextResults.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

lumetra::TextResults results;
std::atomic<bool> hanging = false, slow = false;
// A plain array: the end of a library's text and the beginning of the next one's, which may lie at the same
// address, are in an order that the loader keeps and the thread sanitizer does not see.
char configured[64];

void throwIfConfigured(const char* function) {
    if (configured == std::string("throw-") + function) throw std::runtime_error("broken");
}

}  // namespace

std::int32_t getModuleID() {
    return MODULE_ID;
}

void initialize(const char* configuration) {
    std::snprintf(configured, sizeof configured, "%s", configuration);
    throwIfConfigured("initialize");
    if (MODULE_VERSION == 2) throwIfConfigured("initialize-two");
    hanging = std::string_view(configured) == "hang";
    slow = std::string_view(configured) == "slow";
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind != CB_TYPE2) return 0;
    results.set(function, user);
    return 1;
}

int command(LUMETRA_CMDTYPE number, const char* text) {
    if (number == LUMETRA_CMD_RESULTFORM) return LUMETRA_RESULTFORM_TEXT;
    if (number == LUMETRA_CMDTYPE(1003)) throw 1003;
    if (number < LUMETRA_CMDTYPE(1000) || number > LUMETRA_CMDTYPE(1002)) return 0;
    const std::string json = "{\"version\":" + std::to_string(MODULE_VERSION) + ",\"heard\":\"" + text +
                             "\",\n\"configured\":\"" + configured + "\"}";
    results.write(json.c_str());
    return MODULE_VERSION;
}

void notifyNewData(std::uint64_t, std::shared_ptr<IChnk> chunk) {
    if (MODULE_ID != 60) return;
    if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    results.write(("{\"frame\":" + std::to_string(chunk->frameIndex) + "}").c_str());
    while (hanging) std::this_thread::sleep_for(std::chrono::hours(1));
}

std::int32_t getStatus() {
    throwIfConfigured("status");
    return 7;
}

void destroy() {
    throwIfConfigured("destroy");
    results.set(nullptr, nullptr);
}
