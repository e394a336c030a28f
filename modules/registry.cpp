// registry.cpp - opening a module's library, finding what it exports and filing it under its id.
#include <optional>

#include "base/foreign_call.h"
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

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
    if (id >= 1) m_modules.file(id, std::move(module));
    return id;
}

void LumetraCoreExecutor::resolveEntryPoints(dllstruct& module) {
    for (auto& [kind, address] : module.functions) {
        const std::string& symbol = LUMETRA_FNNAMES.at(kind);
        address = module.library->symbol(symbol.c_str());
        if (address == nullptr) logViaCallback("Warning: " + symbol + " function not found in DLL!");
    }
}

std::int32_t LumetraCoreExecutor::askModuleId(const dllstruct& module) {
    constexpr std::int32_t NO_ID = -1;
    if (const auto getModuleId = entryPoint<GetModuleIdFn>(module, FN_GETMODULEID)) {
        std::optional<std::int32_t> id;
        callSafely(
            [&] { id = getModuleId(); });  // the library is closed next, and what it threw is part of it
        if (id) return *id;
    }
    logViaCallback("Module ID function not available!");
    return NO_ID;
}

void LumetraCoreExecutor::reportMissing(LUMETRA_FNTYPE kind, const char* severity) {
    logViaCallback(severity + LUMETRA_FNNAMES.at(kind) + " function not available!");
}
