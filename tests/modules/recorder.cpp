// A module that writes down every call. MODULE_ID comes from the build, so that two can be loaded at once.
// Its inline static is what keeps a library mapped for ever unless the build helper prevents it.
#include "tests/modules/recorder.h"

#include <LumetraCore/LumetraModule.h>

#include <stdexcept>

namespace {

struct OwnError {
    virtual ~OwnError() {}
};

inline RecorderControl& state() {
    static RecorderControl instance;
    return instance;
}

void record(const std::string& call) {
    const std::lock_guard lock(state().mutex);
    state().calls.push_back(call);
    if (state().throwsAlways) throw OwnError();
}

}  // namespace

LUMETRA_EXPORT RecorderControl* recorderControl() {
    return &state();
}

std::int32_t getModuleID() {
    record("getModuleID");
    return MODULE_ID;
}
void initialize(const char* configuration) {
    record(std::string("initialize ") + configuration);
}
int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    record("registerCallback " + std::to_string(kind));
    state().lastFunction = function;
    state().lastUser = user;
    return 41;
}
int unregisterCallback(LUMETRA_CBTYPE kind) {
    record("unregisterCallback " + std::to_string(kind));
    return 42;
}
int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    record("getSupportedCallbacks");
    kinds[0] = CB_TYPE2;
    return 43;
}
int command(LUMETRA_CMDTYPE command, const char* text) {
    record("command " + std::to_string(command) + " " + text);
    return 44;
}
void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    {
        const std::lock_guard lock(state().mutex);
        state().notifications.push_back({chunkId, chunk, chunk->format});
    }
    if (NotificationGate* const gate = state().gate) gate->pass();
    record("notifyNewData");
}
std::int32_t getStatus() {
    record("getStatus");
    return 45;
}
void destroy() {
    record("destroy");
}
