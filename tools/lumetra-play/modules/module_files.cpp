// module_files.cpp - looking beside the program, in a build folder and where it may be installed.
#include "tools/lumetra-play/modules/module_files.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>

#include "LumetraCore/LumetraModule.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/play_error.h"

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "lumetra-play-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw systemError("cannot make a folder in " + fs::temp_directory_path().string(), errno,
                          "set TMPDIR to one that can be written");
    m_path = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
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

std::int32_t idOfLibrary(const fs::path& file) {
    const auto close = [](void* library) { dlclose(library); };
    const std::unique_ptr<void, decltype(close)> library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL), close);
    if (!library) throw PlayError(dlerror());
    const auto id = reinterpret_cast<decltype(&getModuleID)>(dlsym(library.get(), "getModuleID"));
    if (id == nullptr) throw PlayError("it exports no getModuleID");
    try {
        return id();
    } catch (...) {  // what it throws may not outlive its library
        return -1;
    }
}

bool isMapped(const fs::path& file) {
    void* const library = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}
