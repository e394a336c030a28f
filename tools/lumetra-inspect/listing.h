// listing.h - which modules lie in a folder, and what each says of itself.
#ifndef LUMETRA_INSPECT_LISTING_H
#define LUMETRA_INSPECT_LISTING_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumetra-inspect/module_location.h"

struct ModuleSummary {
    ModuleLocation location;
    std::optional<std::int32_t> id, status;
    std::vector<std::string> entryPoints;
    std::vector<std::int32_t> callbacks;  // the kinds that it takes
    std::string version, description;     // of its stamp
    std::string fault;                    // empty, or why it could not be asked
};

/// Every NAME.framework/NAME in a folder, by name.
std::vector<ModuleLocation> modulesIn(const std::filesystem::path& folder);

/// Loads it in a process of its own.
ModuleSummary summarize(const ModuleLocation& location, std::chrono::milliseconds limit);

#endif
