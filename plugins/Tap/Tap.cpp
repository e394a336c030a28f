// Tap.cpp - the module's entry points; each forwards to the one tap. What hosts see of it is LumetraTap.h.
// Threads: as LumetraModule.h says for each. The tap lives as long as the library is mapped.
#include <LumetraCore/LumetraModule.h>
#include <LumetraCore/LumetraTap.h>

#include "frame_tap.h"

namespace {

FrameTap tap;

}  // namespace

std::int32_t getModuleID() {
    return LUMETRA_TAP_ID;
}

void initialize(const char*) {}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind != CB_TYPE2 || function == nullptr) return 0;
    return tap.deliverTo(reinterpret_cast<LUMETRA_TAPFN>(function), user) ? 1 : 0;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    if (kind != CB_TYPE2) return 0;
    tap.end();
    return 1;
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_TYPE2;
    return 1;
}

int command(LUMETRA_CMDTYPE command, const char*) {
    switch (static_cast<std::int32_t>(command)) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            tap.pause(command == LUMETRA_CMD_STOP);
            return 1;
        case LUMETRA_TAP_CMD_DELIVERED:
            return tap.delivered();
        case LUMETRA_TAP_CMD_SKIPPED:
            return tap.skipped();
        case LUMETRA_TAP_CMD_HELD:
            return tap.held();
        default:
            return 0;
    }
}

void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    tap.take(chunkId, std::move(chunk));
}

std::int32_t getStatus() {
    return tap.status();
}

void destroy() {
    tap.end();
    tap.pause(false);  // the library may stay mapped, and the next host starts anew
}
