// traffic.cpp - commands and status queries to one module, frames to all of them.
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

int LumetraCoreExecutor::command(std::int32_t moduleId, LUMETRA_CMDTYPE type, const char* text) {
    if (moduleId == ENGINE_MODULE_ID) return command(type, text);

    const auto module = m_modules.find(moduleId);
    if (!module) return 0;
    const auto moduleCommand = requiredEntryPoint<CommandFn>(*module, FN_COMMAND);
    if (moduleCommand == nullptr) return 0;
    return moduleCommand(type, text);
}

std::int32_t LumetraCoreExecutor::getStatus(std::int32_t moduleId) {
    if (moduleId == ENGINE_MODULE_ID) return STATUS_READY;

    const auto module = m_modules.find(moduleId);
    if (!module) return STATUS_UNAVAILABLE;
    const auto moduleStatus = requiredEntryPoint<GetStatusFn>(*module, FN_GETSTATUS);
    if (moduleStatus == nullptr) return STATUS_UNAVAILABLE;
    return moduleStatus();
}

// Runs on a worker. Looks the chunk up for each module, so that an expired frame reaches no further ones.
void LumetraCoreExecutor::triggerDataNotification(std::uint64_t chunkId) {
    const MessageAtExit retain(*this, {MSG_RETAIN, chunkId});
    for (const NotificationTarget& target : m_modules.notificationTargets()) {
        if (target.notify == nullptr) {
            reportMissing(FN_NOTIFYNEWDATA);
            continue;
        }
        m_chunks.withDeliverable(chunkId, [&](const Chunk& chunk) {
            m_threadPool->enqueue(&NotificationTarget::deliver, target, chunkId, chunk);
        });
    }
}
