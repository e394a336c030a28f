// module_files.h - where modules lie, and a place for files that are made for a while. Any thread.
#ifndef LUMETRA_TOOLS_MODULE_FILES_H
#define LUMETRA_TOOLS_MODULE_FILES_H

#include <filesystem>
#include <string>
#include <vector>

/// FOLDER/NAME.framework/NAME
std::filesystem::path moduleFile(const std::filesystem::path& folder, const std::string& name);

/// The folder that holds this program.
std::filesystem::path programFolder();

/// Where modules are built or installed beside this program; only the folders that there are.
std::vector<std::filesystem::path> moduleFoldersOfProgram();

/// Whether code of that library is still mapped.
bool isMapped(const std::filesystem::path& file);

/// A folder that is gone, with what is in it, when this is. @throws std::runtime_error if none can be made
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

#endif
