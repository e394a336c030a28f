// inspection.h - the short answer: whether a host can load a module, and if not, why.
#ifndef LUMETRA_INSPECT_INSPECTION_H
#define LUMETRA_INSPECT_INSPECTION_H

#include <chrono>
#include <filesystem>

#include "tools/lumetra-inspect/module_location.h"

/// Prints line by line what it finds; whether a host can load the module.
/// @param hostFolder  empty, or the folder in which that host works
bool inspectModule(const ModuleLocation& location, const std::filesystem::path& hostFolder,
                   std::chrono::milliseconds limit);

#endif
