// module_folders.cpp - looking beside the program, in a build folder and where it may be installed.
#include "tools/lumetra-play/modules/module_folders.h"

#include <filesystem>

#include "tools/lumetra-play/run/play_error.h"

namespace {

namespace fs = std::filesystem;

bool has(const fs::path& folder, const std::string& module) {
    std::error_code error;
    return fs::exists(folder / (module + ".framework") / module, error);
}

}  // namespace

std::string folderOfModule(const std::string& name, const std::string& requested) {
    if (!requested.empty() && has(requested, name)) return requested;
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* place : {"../modules", "../lib/lumetra/modules", "../../modules"}) {
        const fs::path folder = fs::weakly_canonical(program / place, error);
        if (!error && has(folder, name)) return folder.string();
    }
    if (!requested.empty()) return requested;
    throw PlayError("the module " + name + " is not beside the program: name its folder by --module-path");
}
