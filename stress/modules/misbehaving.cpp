// misbehaving.cpp - a module that misbehaves as its configuration says: "throw" out of every entry point (out
// of destroy only once), "sleep", "keep", "call back", "leave" or "hang" until it is
// removed. With id 0 it throws in place of an id.
#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/LumetraModule.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::system_clock;

struct OwnError {  // its code goes with the library
    virtual ~OwnError() {}
};

std::atomic<char> behaviour = '-';  // the first letter of the configuration
std::mutex keptMutex;
std::deque<std::shared_ptr<IChnk>> kept;

int throwOr(int result) {
    if (behaviour == 't') throw OwnError();
    return result;
}

void keep(const std::shared_ptr<IChnk>& chunk) {
    const std::lock_guard lock(keptMutex);
    kept.push_back(chunk);
    if (kept.size() > 64) kept.pop_front();
}

// Answers a frame of the host with one of its own, numbered -1; but not late, or that could fall into the
// millisecond of the host's next and replace it.
void callBack(const IChnk& chunk, Clock::duration age) {
    LUMETRA_CBTYPE kinds[4];
    LumetraCore_getSupportedCallbacks(ENGINE_MODULE_ID, kinds);
    LumetraCore_registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, nullptr, nullptr);
    LumetraCore_command(MODULE_ID, LUMETRA_CMD_START, u"");
    if (LumetraCore_registerDllByName(u"Listening30") > 0) LumetraCore_unregisterDllByName(u"Listening30");
    if (chunk.frameIndex >= 0 && age < std::chrono::milliseconds(6))
        LumetraCore_pushImageData(chunk.data->lvl[0], chunk.width * chunk.height, u"{}", -1);
}

}  // namespace

std::int32_t getModuleID() {
    if (MODULE_ID == 0) throw OwnError();
    return MODULE_ID;
}
void initialize(const char* configuration) {
    behaviour = configuration[0];
    throwOr(0);
}
int registerCallback(LUMETRA_CBTYPE, void*, void*) {
    return throwOr(1);
}
int unregisterCallback(LUMETRA_CBTYPE) {
    return throwOr(1);
}
int getSupportedCallbacks(LUMETRA_CBTYPE*) {
    return throwOr(0);
}
int command(LUMETRA_CMDTYPE, const char*) {
    return throwOr(1);
}
std::int32_t getStatus() {
    return throwOr(STATUS_READY);
}
void notifyNewData(std::uint64_t id, std::shared_ptr<IChnk> chunk) {
    throwOr(0);
    if (behaviour == 's') {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        throw OwnError();  // what is left of it when the library goes?
    }
    behaviour.wait('h');
    if (behaviour == 'k') keep(chunk);
    if (behaviour == 'c') callBack(*chunk, Clock::now().time_since_epoch() - std::chrono::milliseconds(id));
    if (behaviour == 'l') LumetraCore_unregisterDllByID(MODULE_ID);
}
void destroy() {
    const char before = behaviour.exchange('-');
    behaviour.notify_all();
    if (before == 't') throw OwnError();
}
