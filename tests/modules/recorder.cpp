// A module that writes down every call. MODULE_ID comes from the build, so that two can be loaded at once.
// Its inline static is what keeps a library mapped for ever unless the build helper prevents it.
#include "tests/modules/recorder.h"

#include <LumetraCore/LumetraModule.h>

#include <stdexcept>

namespace {

struct OwnError {
    virtual ~OwnError() {}
};

struct State {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<Notification> notifications;
    NotificationGate* gate = nullptr;
    bool throwing = false;
};

inline State& state() {
    static State instance;
    return instance;
}

void record(const std::string& call) {
    const std::lock_guard lock(state().mutex);
    state().calls.push_back(call);
    if (state().throwing) throw OwnError();
}

class Recorder : public RecorderControl {
public:
    std::vector<std::string> takeCalls() override {
        const std::lock_guard lock(state().mutex);
        return std::move(state().calls);
    }
    std::vector<Notification> takeNotifications() override {
        const std::lock_guard lock(state().mutex);
        return std::move(state().notifications);
    }
    void holdNotificationsAt(NotificationGate& gate) override {
        const std::lock_guard lock(state().mutex);
        state().gate = &gate;
    }
    void throwAlways(bool throwing) override {
        const std::lock_guard lock(state().mutex);
        state().throwing = throwing;
    }
};

}  // namespace

LUMETRA_EXPORT RecorderControl* recorderControl() {
    static Recorder recorder;
    return &recorder;
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
    recorderControl()->lastFunction = function;
    recorderControl()->lastUser = user;
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
    NotificationGate* gate = nullptr;
    {
        const std::lock_guard lock(state().mutex);
        state().notifications.push_back({chunkId, chunk, chunk->format});
        gate = state().gate;
    }
    if (gate != nullptr) gate->pass();
    record("notifyNewData");
}
std::int32_t getStatus() {
    record("getStatus");
    return 45;
}
void destroy() {
    record("destroy");
}
