// listener.cpp - a module that hands every frame to its host. MODULE_ID comes from the build.
#include "tests/modules/listener.h"

#include <atomic>

#include <LumetraCore/LumetraModule.h>

namespace {

std::atomic<void*> host;
std::atomic<ListenFn*> listen;

}  // namespace

std::int32_t getModuleID() {
    return MODULE_ID;
}
int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind != CB_TYPE2) return 0;
    host = user;
    listen = reinterpret_cast<ListenFn*>(function);
    return 1;
}
void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    if (ListenFn* const function = listen) function(host, chunkId, *chunk);
}
