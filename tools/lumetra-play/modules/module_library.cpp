// module_library.cpp - by stat() and the loader.
#include "tools/lumetra-play/modules/module_library.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <memory>

#include "LumetraCore/LumetraModule.h"
#include "tools/lumetra-play/run/play_error.h"

namespace fs = std::filesystem;

fs::path findModule(const std::string& name, const std::string& requested) {
    std::vector<fs::path> folders = moduleFoldersOfProgram();
    if (!requested.empty()) folders.insert(folders.begin(), requested);
    std::error_code ignored;
    for (const fs::path& folder : folders)
        if (fs::exists(moduleFile(folder, name), ignored)) return moduleFile(folder, name);
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

LibraryCopy::LibraryCopy(const fs::path& from)
    : original(stampOf(from)),
      file(moduleFile(m_folder.path(), from.filename().string() + "-" + std::to_string(++s_count))) {
    std::error_code error;
    fs::create_directory(file.parent_path(), error);
    if (!error) fs::copy_file(from, file, error);
    if (error) throw PlayError("cannot copy " + from.string() + " (" + error.message() + "): check TMPDIR");
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
