// TagTracker.cpp - the module's entry points; each forwards to the one tracker.
// Threads: as LumetraModule.h says for each. The worker lives from initialize to destroy.
#include "TagTracker.h"

#include <LumetraCore/LumetraModule.h>

#include "tag_tracker.h"

namespace {

TagTracker tracker;

}  // namespace

std::int32_t getModuleID() {
    return TAGTRACKER_ID;
}

void initialize(const char* configuration) {
    tracker.configure(configuration);
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind == CB_LOG) {
        tracker.log().set(function);
        return 1;
    }
    if (kind != CB_TYPE2) return 0;
    tracker.results().set(function, user);
    return 1;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    return registerCallback(kind, nullptr, nullptr);
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_LOG;
    kinds[1] = CB_TYPE2;
    return 2;
}

int command(LUMETRA_CMDTYPE command, const char*) {
    switch (static_cast<std::int32_t>(command)) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            return tracker.setRunning(command == LUMETRA_CMD_START) ? 1 : 0;
        case LUMETRA_CMD_RESULTFORM:
            return LUMETRA_RESULTFORM_TEXT;
        case TAGTRACKER_CMD_SEARCHED:
            return tracker.searched();
        case TAGTRACKER_CMD_SKIPPED:
            return tracker.skipped();
        case TAGTRACKER_CMD_FOUND:
            return tracker.found();
        default:
            return 0;
    }
}

void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    tracker.take(chunkId, std::move(chunk));
}

std::int32_t getStatus() {
    return tracker.status();
}

void destroy() {
    tracker.end();
}
