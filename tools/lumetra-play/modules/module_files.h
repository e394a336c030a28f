// module_files.h - where modules lie, copies of those that are loaded anew, and why one cannot be loaded.
#ifndef LUMETRA_PLAY_MODULE_FILES_H
#define LUMETRA_PLAY_MODULE_FILES_H

#include <filesystem>
#include <string>

/// A folder that is gone, with all that is in it, when this is. @throws PlayError if none can be made
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// FOLDER/NAME.framework/NAME
std::filesystem::path moduleFile(const std::filesystem::path& folder, const std::string& name);

/// The absolute path of the folder that has the module: `requested` if that has it or nothing else does, else
/// one beside the program. @param requested  the user's choice; empty for none
/// @throws PlayError if there is no folder to try
std::string folderOfModule(const std::string& name, const std::string& requested);

/// The id that the library of a module gives. @throws PlayError with the loader's words
std::int32_t idOfLibrary(const std::filesystem::path& file);

/// Whether code of that library is still mapped.
bool isMapped(const std::filesystem::path& file);

#endif
