// module_library.h - the file of a module's library: where it lies, whether it changes, whether it loads. Any
// thread.
#ifndef LUMETRA_PLAY_MODULE_LIBRARY_H
#define LUMETRA_PLAY_MODULE_LIBRARY_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>

#include "tools/support/module_files.h"

/// What changes when a file does: its number, bytes, time of the change in ns; all 0 if there is none.
using FileStamp = std::tuple<unsigned long long, long long, std::int64_t>;
FileStamp stampOf(const std::filesystem::path& file);

/// The folder that has the module: `requested` if that has it, else one beside the program.
/// @param requested  the user's choice; empty for none. @throws PlayError if neither has it
std::filesystem::path folderOfModule(const std::string& name, const std::string& requested);

/// The id that the library of a module gives. @throws PlayError with the reason if it is no module that takes
/// frames
std::int32_t idOfLibrary(const std::filesystem::path& file);

/// Whether code of that library is still mapped.
bool isMapped(const std::filesystem::path& file);

#endif
