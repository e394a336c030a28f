// loading.cpp - opening a module, its id, and its registration with a real engine.
#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/support/module_files.h"

namespace {

void opens(const Bench& bench) {
    const LoadedModule module(bench);
}

void hasId(const Bench& bench) {
    LoadedModule module(bench);
    const std::int32_t id = module.getModuleID();
    if (id < 1) fail("its id is " + std::to_string(id) + ", and ids begin at 1");
}

void keepsId(const Bench& bench) {
    constexpr int CALLS = 20;
    LoadedModule module(bench);
    const std::int32_t first = module.getModuleID();
    for (int k = 1; k < CALLS; ++k) {
        const std::int32_t next = module.getModuleID();
        if (next != first) fail("its id was " + std::to_string(first) + " and then " + std::to_string(next));
    }
}

void isRegistered(const Bench& bench) {
    std::int32_t id = 0;
    {
        LoadedModule module(bench);
        id = module.getModuleID();
        module.close();  // so that the engine is the first to open it
    }
    const Engine engine;
    engine.initialize();
    bench.stage("LumetraCore_registerDllByName");
    const std::int32_t result = engine.registerModule(bench.location.file);
    if (result != id)
        fail("the engine registers it as " + std::to_string(result) + ", and its id is " +
             std::to_string(id));
    bench.stage("LumetraCore_unregisterDllByID");
    if (engine.unregisterDllByID(id) != 1) fail("the engine cannot remove it");
    bench.stage("LumetraCore_destroy");
    engine.destroy();
}

void isUnmapped(const Bench& bench) {
    LoadedModule module(bench);
    module.getModuleID();
    module.close();
    if (isMapped(bench.location.file))
        fail(
            "its code stays mapped: unique symbols (build it with -fno-gnu-unique), -z nodelete, a "
            "thread_local with a destructor or another user of it");
}

}  // namespace

std::vector<Check> loadingChecks() {
    return {
        {"opens", "The loader opens it.",
         "place id-exported stamp-interface stamp-frame stamp-library libraries symbols", opens},
        {"id", "getModuleID gives a number of at least 1.", "opens", hasId},
        {"id-constant", "getModuleID gives the same number at every call.", "id", keepsId},
        {"registration", "An engine registers it under its id and removes it.",
         "id-constant destroy-first unmapped", isRegistered},
        {"unmapped", "Its code is gone once it was closed.", "id", isUnmapped},
    };
}
