// callbacks.cpp - the engine's callback table, and callbacks handed on to modules.
// The engine's table holds CB_LOG and CB_HOSTTEXT; no operation adds or removes a kind.
#include "core/LumetraCoreExecutor.h"
#include "core/logging.h"

int LumetraCoreExecutor::registerCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind, void* function,
                                          void* user) {
    if (moduleId == ENGINE_MODULE_ID) {
        logViaCallback("Registering Callback!");
        if (replaceCallback(kind, {function, user})) return 1;
        logViaCallback("Warning: Particular callback not available!");
        return 0;
    }

    const auto module = findModule(moduleId);
    if (!module) return 0;
    const auto moduleRegister = entryPoint<RegisterCallbackFn>(*module, FN_REGISTERCALLBACK);
    if (moduleRegister == nullptr) {
        reportMissing(FN_REGISTERCALLBACK);
        return 0;
    }
    // A module pushes into the engine, never into the host, and finds the engine in its user pointer.
    if (kind == CB_PUSHNATIVEIMAGE) function = reinterpret_cast<void*>(&LumetraCoreExecutor::pushNativeImage);
    return moduleRegister(kind, function, user != nullptr ? user : this);
}

int LumetraCoreExecutor::unregisterCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind) {
    if (moduleId == ENGINE_MODULE_ID) {
        logViaCallback("Unregistering Callback!");
        void* const standard = kind == CB_LOG ? reinterpret_cast<void*>(&stdlog) : nullptr;
        if (replaceCallback(kind, {standard, nullptr})) return 1;
        logViaCallback("Warning: Particular callback not available!");
        return 0;
    }

    const auto module = findModule(moduleId);
    if (!module) return 0;
    const auto moduleUnregister = entryPoint<UnregisterCallbackFn>(*module, FN_UNREGISTERCALLBACK);
    if (moduleUnregister == nullptr) {
        reportMissing(FN_UNREGISTERCALLBACK);
        return 0;
    }
    return moduleUnregister(kind);
}

std::int32_t LumetraCoreExecutor::getSupportedCallbacks(std::int32_t moduleId, LUMETRA_CBTYPE* kinds) {
    constexpr std::int32_t CANNOT_TELL = -1;
    if (moduleId == ENGINE_MODULE_ID) {
        const std::lock_guard lock(m_callbackMutex);
        std::int32_t count = 0;
        for (const auto& callback : m_callbacks) kinds[count++] = callback.first;
        return count;
    }

    const auto module = findModule(moduleId);
    if (!module) return CANNOT_TELL;
    const auto supportedCallbacks = entryPoint<GetSupportedCallbacksFn>(*module, FN_GETSUPPORTEDCALLBACKS);
    if (supportedCallbacks == nullptr) {
        reportMissing(FN_GETSUPPORTEDCALLBACKS);
        return CANNOT_TELL;
    }
    return supportedCallbacks(kinds);
}

// A copy, taken so that the callback runs without the lock.
LumetraCoreExecutor::CallbackPair LumetraCoreExecutor::callbackFor(LUMETRA_CBTYPE kind) {
    const std::lock_guard lock(m_callbackMutex);
    return m_callbacks[kind];
}

bool LumetraCoreExecutor::replaceCallback(LUMETRA_CBTYPE kind, CallbackPair pair) {
    const std::lock_guard lock(m_callbackMutex);
    const auto entry = m_callbacks.find(kind);
    if (entry == m_callbacks.end()) return false;
    entry->second = pair;
    return true;
}
