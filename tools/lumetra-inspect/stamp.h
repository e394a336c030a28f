// stamp.h - what the build helper wrote into a module, and what of it does not fit this program and its
// engine.
#ifndef LUMETRA_INSPECT_STAMP_H
#define LUMETRA_INSPECT_STAMP_H

#include <LumetraCore/ModuleStamp.h>

#include <optional>
#include <string>

#include "tools/lumetra-inspect/symbol_table.h"

/// Nothing if the module has none, or none that is whole.
std::optional<LumetraModuleStamp> readStamp(const SymbolTable& table);

/// What this program was built with.
LumetraModuleStamp ownStamp();

/// Each empty, or in what way the module's build differs from this one's.
std::string interfaceMismatch(const LumetraModuleStamp& stamp);
std::string frameMismatch(const LumetraModuleStamp& stamp);
std::string libraryMismatch(const LumetraModuleStamp& stamp);

#endif
