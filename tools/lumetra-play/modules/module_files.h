// module_files.h - where modules lie, folders for copies of them, and why one cannot be loaded. Any thread.
#ifndef LUMETRA_PLAY_MODULE_FILES_H
#define LUMETRA_PLAY_MODULE_FILES_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>

/// What changes when a file does: its number, bytes, time of the change in ns; all 0 if there is none.
using FileStamp = std::tuple<unsigned long long, long long, std::int64_t>;
FileStamp stampOf(const std::filesystem::path& file);

/// A folder that is gone, with all that is in it, when this is. @throws PlayError if none can be made
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    static void removeAll();  ///< of all that there are, right before the process ends

private:
    std::filesystem::path m_path;
};

/// FOLDER/NAME.framework/NAME
std::filesystem::path moduleFile(const std::filesystem::path& folder, const std::string& name);

/// The absolute path of the folder that has the module: `requested` if that has it, else one beside the
/// program.
/// @param requested  the user's choice; empty for none. @throws PlayError if neither has it
std::string folderOfModule(const std::string& name, const std::string& requested);

/// The id that the library of a module gives. @throws PlayError with the reason if it is no module that takes
/// frames
std::int32_t idOfLibrary(const std::filesystem::path& file);

/// Whether code of that library is still mapped.
bool isMapped(const std::filesystem::path& file);

#endif
