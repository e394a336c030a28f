// callbacks.cpp - callbacks registered with the engine, and handed on to modules. Runs on the host's thread.
#include <algorithm>

#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

int LumetraCoreExecutor::registerCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind, void* function,
                                          void* user) {
    if (moduleId == ENGINE_MODULE_ID) {
        logViaCallback("Registering Callback!");
        if (m_callbacks.replace(kind, {function, user})) return 1;
        logViaCallback("Warning: Particular callback not available!");
        return 0;
    }

    const auto module = m_modules.find(moduleId);
    if (!module) return 0;
    const auto moduleRegister = requiredEntryPoint<RegisterCallbackFn>(*module, FN_REGISTERCALLBACK);
    if (moduleRegister == nullptr) return 0;
    // A module pushes into the engine, never into the host, and finds the engine in its user pointer.
    if (kind == CB_PUSHNATIVEIMAGE) function = reinterpret_cast<void*>(&LumetraCoreExecutor::pushNativeImage);
    return moduleRegister(kind, function, user != nullptr ? user : this);
}

int LumetraCoreExecutor::unregisterCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind) {
    if (moduleId == ENGINE_MODULE_ID) {
        logViaCallback("Unregistering Callback!");
        if (m_callbacks.reset(kind)) return 1;
        logViaCallback("Warning: Particular callback not available!");
        return 0;
    }

    const auto module = m_modules.find(moduleId);
    if (!module) return 0;
    const auto moduleUnregister = requiredEntryPoint<UnregisterCallbackFn>(*module, FN_UNREGISTERCALLBACK);
    if (moduleUnregister == nullptr) return 0;
    return moduleUnregister(kind);
}

std::int32_t LumetraCoreExecutor::getSupportedCallbacks(std::int32_t moduleId, LUMETRA_CBTYPE* kinds) {
    constexpr std::int32_t CANNOT_TELL = -1;
    if (moduleId == ENGINE_MODULE_ID) {
        const auto supported = m_callbacks.kinds();
        std::copy(supported.begin(), supported.end(), kinds);
        return static_cast<std::int32_t>(supported.size());
    }

    const auto module = m_modules.find(moduleId);
    if (!module) return CANNOT_TELL;
    const auto supportedCallbacks =
        requiredEntryPoint<GetSupportedCallbacksFn>(*module, FN_GETSUPPORTEDCALLBACKS);
    if (supportedCallbacks == nullptr) return CANNOT_TELL;
    return supportedCallbacks(kinds);
}
