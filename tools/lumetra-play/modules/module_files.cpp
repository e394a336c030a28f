// module_files.cpp - looking beside the program, in a build folder and where it may be installed.
#include "tools/lumetra-play/modules/module_files.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>

#include "LumetraCore/LumetraModule.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/play_error.h"

namespace fs = std::filesystem;

namespace {

std::mutex foldersMutex;
std::set<fs::path> folders;  // that were made and are still there, guarded by the mutex above

void removeFolder(const fs::path& folder) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

}  // namespace

ScratchFolder::ScratchFolder() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    std::string pattern = (place / "lumetra-play-XXXXXX").string();
    const std::lock_guard lock(foldersMutex);
    if (error || mkdtemp(pattern.data()) == nullptr)
        throw systemError("cannot make a folder for temporary files", error ? error.value() : errno,
                          "set TMPDIR to one that can be written");
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

fs::path moduleFile(const fs::path& folder, const std::string& name) {
    return folder / (name + ".framework") / name;
}

std::string folderOfModule(const std::string& name, const std::string& requested) {
    std::error_code error;
    if (!requested.empty() && fs::exists(moduleFile(requested, name), error)) return requested;
    for (const char* place : {"../modules", LUMETRA_MODULES_FROM_PROGRAM, "../../modules"}) {
        const fs::path folder = fs::weakly_canonical(fs::path(programFolder()) / place, error);
        if (!error && fs::exists(moduleFile(folder, name), error)) return folder.string();
    }
    throw PlayError("the module " + name + " is not " +
                    (requested.empty() ? "beside the program" : "in " + requested) +
                    ": build it or name its folder by --module-path");
}

FileStamp stampOf(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return {};
    return {status.st_ino, status.st_size,
            std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec};
}

std::int32_t idOfLibrary(const fs::path& file) {
    const auto close = [](void* library) { dlclose(library); };
    const std::unique_ptr<void, decltype(close)> library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL), close);
    if (!library) throw PlayError(dlerror());
    for (const char* name : {"getModuleID", "notifyNewData"})
        if (dlsym(library.get(), name) == nullptr) throw PlayError(std::string("it exports no ") + name);
    try {
        return reinterpret_cast<decltype(&getModuleID)>(dlsym(library.get(), "getModuleID"))();
    } catch (...) {  // what it throws may not outlive its library
        return -1;
    }
}

bool isMapped(const fs::path& file) {
    void* const library = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}
