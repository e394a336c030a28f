// loading.h - what happens when a host loads a module and removes it again, tried out with the real library
// in a process of its own.
#ifndef LUMETRA_INSPECT_LOADING_H
#define LUMETRA_INSPECT_LOADING_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumetra-inspect/module_location.h"

struct Loading {
    std::vector<std::string> log;        // what the host's log sink was told
    std::optional<std::int32_t> result;  // of LumetraCore_registerDllByName
    std::optional<std::int32_t> status;  // the module's own
    std::string loaderError;             // why the loader refused the file
    std::optional<bool> removed;         // by LumetraCore_unregisterDllByName
    std::optional<bool> unmapped;        // once the engine had closed it
    std::string fault;                   // empty, or what went wrong and where
};

Loading tryLoading(const ModuleLocation& location, std::chrono::milliseconds limit);

/// The loader's own words about a file, empty if it takes it.
std::string loaderError(const ModuleLocation& location, std::chrono::milliseconds limit);

#endif
