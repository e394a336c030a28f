// module_files.cpp - paths, and folders below TMPDIR.
#include "tools/support/module_files.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace {

std::mutex foldersMutex;
std::set<fs::path> folders;  // that were made and are still there, guarded by the mutex above

void removeFolder(const fs::path& folder) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

}  // namespace

fs::path moduleFile(const fs::path& folder, const std::string& name) {
    return folder / (name + ".framework") / name;
}

fs::path programFolder() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::vector<fs::path> moduleFoldersOfProgram() {
    std::error_code ignored;
    std::vector<fs::path> found;
    for (const char* place : {"../modules", LUMETRA_MODULES_FROM_PROGRAM}) {
        const fs::path folder = fs::weakly_canonical(programFolder() / place, ignored);
        if (fs::is_directory(folder, ignored)) found.push_back(folder);
    }
    return found;
}

bool isMapped(const fs::path& file) {
    void* const library = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}

ScratchFolder::ScratchFolder() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    std::string pattern = (place / "lumetra-XXXXXX").string();
    const std::lock_guard lock(foldersMutex);
    if (!error && mkdtemp(pattern.data()) == nullptr) error.assign(errno, std::generic_category());
    if (error)
        throw std::runtime_error("cannot make a folder for temporary files (" + error.message() +
                                 "): set TMPDIR to one that can be written");
    m_path = pattern;
    folders.insert(m_path);
}

ScratchFolder::~ScratchFolder() {
    const std::lock_guard lock(foldersMutex);
    removeFolder(m_path);
    folders.erase(m_path);
}

void ScratchFolder::removeAll() {
    const std::lock_guard lock(foldersMutex);
    for (const fs::path& folder : folders) removeFolder(folder);
}
