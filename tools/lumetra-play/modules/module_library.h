// module_library.h - the file of a module: where it lies, whether it changes, whether it loads. Any thread.
#ifndef LUMETRA_PLAY_MODULE_LIBRARY_H
#define LUMETRA_PLAY_MODULE_LIBRARY_H

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>

#include "tools/support/module_files.h"

/// The file of the module in the folder `requested`, if that has it, or beside the program.
/// @param requested  the user's choice; empty for none. @throws PlayError if neither has it
std::filesystem::path findModule(const std::string& name, const std::string& requested);

/// What changes when a file does: its number, bytes, time of the change in ns; all 0 if there is none.
using FileStamp = std::tuple<unsigned long long, long long, std::int64_t>;
FileStamp stampOf(const std::filesystem::path& file);

/// A copy under a name of its own: the loader gives a library that it has open again, whatever its file holds
/// by now, and a file that changes under it changes the code that runs. Gone with this.
class LibraryCopy {
    static inline std::atomic<int> s_count = 0;
    const ScratchFolder m_folder;

public:
    /// @throws PlayError if it cannot be made
    explicit LibraryCopy(const std::filesystem::path& original);

    const FileStamp original;  ///< from before it was copied: what changes meanwhile is still to be loaded
    const std::filesystem::path file;
};

/// The id that the library gives. @throws PlayError with the reason if it is no module that takes frames
std::int32_t idOfLibrary(const std::filesystem::path& file);

#endif
