// lifecycle.cpp - initialization and removal of modules, by id and by name. What is reported differs
// between the two forms, and hosts rely on it. Runs on the host's thread.
#include "base/foreign_call.h"
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

namespace {

std::string modulePath(std::string name) {
    assemblePlatformLibraryString(name);
    return name;
}

}  // namespace

int LumetraCoreExecutor::initializeDllByName(const char* name, const char* configuration) {
    const std::string path = modulePath(name);
    const auto found = m_modules.findByPath(path);
    if (!found) {
        logViaCallback("Warning: " + path + " Library not available!");
        return 0;
    }
    const auto initialize = requiredEntryPoint<InitializeFn>(found->second, FN_INITIALIZE);
    if (initialize == nullptr) return 0;
    initialize(configuration);
    return 1;
}

int LumetraCoreExecutor::initializeDllByID(std::int32_t moduleId, const char* configuration) {
    const auto module = m_modules.find(moduleId);
    if (!module) return 0;

    const auto initialize = requiredEntryPoint<InitializeFn>(*module, FN_INITIALIZE, "Error: ");
    if (initialize == nullptr) return 0;
    initialize(configuration);
    return 1;
}

int LumetraCoreExecutor::unregisterDllByID(std::int32_t moduleId) {
    auto module = m_modules.find(moduleId);
    return module ? removeModule({moduleId, std::move(*module)}) : 0;
}

int LumetraCoreExecutor::unregisterDllByName(const char* name) {
    auto found = m_modules.findByPath(modulePath(name));
    return found ? removeModule(std::move(*found)) : 0;
}

// The module cleans up while its library is mapped and its record is there; the library is closed before the
// record is erased, or by the last running call into it.
int LumetraCoreExecutor::removeModule(ModuleTable::Entry entry) {
    const dllstruct& module = entry.second;
    if (!module.library->unpin()) return 0;
    try {
        if (const auto destroy = requiredEntryPoint<DestroyFn>(module, FN_DESTROY)) destroy();
    } catch (...) {
        module.library->pin();
        throw;
    }
    callSafely([&] { logViaCallback("Unregistering " + module.name); });  // without memory it goes on too

    m_modules.close(std::move(entry));
    return 1;
}
