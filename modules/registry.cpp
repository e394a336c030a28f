// registry.cpp - opening a module's library, finding what it exports and filing it under its id.
#include "modules/registry.h"

#include <dlfcn.h>

#include "core/LumetraCoreExecutor.h"

ModuleLibrary::~ModuleLibrary() {
    if (handle != nullptr && !kept) dlclose(handle);
}

void* ModuleLibrary::open(const std::string& path) {
    handle = dlopen(path.c_str(), RTLD_LAZY);
    return handle;
}

void assemblePlatformLibraryString(std::string& name) {
    name += ".framework/" + std::string(name);
}

LumetraCoreExecutor::dllstruct::dllstruct()
    : functions{{FN_GETMODULEID, nullptr},
                {FN_INITIALIZE, nullptr},
                {FN_REGISTERCALLBACK, nullptr},
                {FN_UNREGISTERCALLBACK, nullptr},
                {FN_GETSUPPORTEDCALLBACKS, nullptr},
                {FN_COMMAND, nullptr},
                {FN_NOTIFYNEWDATA, nullptr},
                {FN_GETSTATUS, nullptr},
                {FN_DESTROY, nullptr}} {}

std::int32_t LumetraCoreExecutor::registerDllByName(const char* name) {
    std::string path = name;
    assemblePlatformLibraryString(path);
    dllstruct module;
    module.library = std::make_shared<ModuleLibrary>();
    module.handle = module.library->open(path);
    if (module.handle == nullptr) {
        logViaCallback("Error loading library " + path);
        return 0;
    }
    module.name = path;
    logViaCallback(path + " loaded successfully!");

    resolveEntryPoints(module);
    const std::int32_t id = askModuleId(module);
    if (id >= 1) {
        const std::lock_guard lock(m_moduleMutex);
        m_replacedLibraries.reserve(m_replacedLibraries.size() + 1);
        dllstruct& record = m_modules[id];
        std::swap(record, module);
        record.library->keep();
        // What was queued for a module that is replaced still reaches it.
        if (module.library != nullptr && module.library->isKept())
            m_replacedLibraries.push_back(std::move(module.library));
    }
    return id;
}

void LumetraCoreExecutor::resolveEntryPoints(dllstruct& module) {
    for (auto& [kind, address] : module.functions) {
        const std::string& symbol = LUMETRA_FNNAMES.at(kind);
        address = dlsym(module.handle, symbol.c_str());
        if (address == nullptr) logViaCallback("Warning: " + symbol + " function not found in DLL!");
    }
}

std::int32_t LumetraCoreExecutor::askModuleId(const dllstruct& module) {
    constexpr std::int32_t NO_ID = -1;
    if (const auto getModuleId = entryPoint<GetModuleIdFn>(module, FN_GETMODULEID)) {
        try {
            return getModuleId();
        } catch (...) {
            // The library is about to be closed, and what it threw may not outlive it.
        }
    }
    logViaCallback("Module ID function not available!");
    return NO_ID;
}

std::optional<LumetraCoreExecutor::dllstruct> LumetraCoreExecutor::findModule(std::int32_t moduleId) const {
    const std::lock_guard lock(m_moduleMutex);
    const auto entry = m_modules.find(moduleId);
    if (entry == m_modules.end() || entry->second.library == nullptr) return std::nullopt;
    return entry->second;
}

void LumetraCoreExecutor::reportMissing(LUMETRA_FNTYPE kind, const char* severity) {
    logViaCallback(severity + LUMETRA_FNNAMES.at(kind) + " function not available!");
}
