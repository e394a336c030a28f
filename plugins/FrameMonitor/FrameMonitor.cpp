// FrameMonitor.cpp - the module's entry points; each forwards to the one monitor.
// Threads: as LumetraModule.h says for each. The monitor lives as long as the library is mapped.
#include "FrameMonitor.h"

#include <LumetraCore/LumetraModule.h>

#include "monitor.h"

namespace {

Monitor monitor;

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace

std::int32_t getModuleID() {
    return FRAMEMONITOR_ID;
}

void initialize(const char* configuration) {
    monitor.configure(configuration);
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void*) {
    if (kind != CB_LOG) return 0;
    monitor.setLog(function);
    return 1;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    return registerCallback(kind, nullptr, nullptr);
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_LOG;
    return 1;
}

int command(LUMETRA_CMDTYPE command, const char* text) {
    switch (static_cast<std::int32_t>(command)) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            monitor.pause(command == LUMETRA_CMD_STOP);
            return 1;
        case FRAMEMONITOR_CMD_REPORT:
            return monitor.report() ? 1 : 0;
        case FRAMEMONITOR_CMD_RESET:
            monitor.reset();
            return 1;
        case FRAMEMONITOR_CMD_SNAPSHOT:
            return monitor.snapshot(orEmpty(text));
        case FRAMEMONITOR_CMD_COUNT:
            return monitor.count(orEmpty(text));
        default:
            return 0;
    }
}

void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    if (chunk != nullptr) monitor.take(chunkId, chunk);
}

std::int32_t getStatus() {
    return monitor.status();
}

void destroy() {
    monitor.end();
}
