// module_location.cpp - names and paths of modules.
#include "tools/lumetra-inspect/module_location.h"

#include <algorithm>

#ifndef LUMETRA_MODULES_FROM_PROGRAM
#define LUMETRA_MODULES_FROM_PROGRAM "../lib/LumetraCore/modules"
#endif

namespace fs = std::filesystem;

namespace {

// Of a bare name, from the working folder where it is nowhere.
fs::path pathOfName(const std::string& name) {
    std::error_code ignored;
    for (const fs::path& folder : usualFolders())
        if (fs::exists(folder / relativeModulePath(name), ignored)) return folder / relativeModulePath(name);
    return relativeModulePath(name);
}

}  // namespace

std::vector<fs::path> usualFolders() {
    std::error_code ignored;
    const fs::path program = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    std::vector<fs::path> folders;
    for (const fs::path& folder :
         {fs::current_path(), program / "../modules", program / LUMETRA_MODULES_FROM_PROGRAM}) {
        const fs::path found = fs::weakly_canonical(folder, ignored);
        if (fs::is_directory(found, ignored) && std::count(folders.begin(), folders.end(), found) == 0)
            folders.push_back(found);
    }
    return folders;
}

std::string relativeModulePath(const std::string& name) {
    return name + ".framework/" + name;
}

ModuleLocation locateModule(const std::string& text) {
    std::error_code ignored;  // what cannot be read counts as not there
    fs::path given(text);
    if (!given.has_filename()) given = given.parent_path();  // "NAME.framework/"

    ModuleLocation location;
    if (given.extension() == ".framework" && fs::is_directory(given, ignored))
        given /= given.stem();
    else if (!given.has_parent_path() &&
             (!fs::exists(given, ignored) || fs::exists(relativeModulePath(text), ignored)))
        given = pathOfName(text);
    location.file = fs::absolute(given).lexically_normal();

    const fs::path framework = location.file.parent_path();
    if (framework.filename() == location.file.filename().string() + ".framework") {
        location.name = location.file.filename().string();
        location.folder = framework.parent_path();
    }
    return location;
}

bool resolvesFrom(const fs::path& folder, const ModuleLocation& location) {
    std::error_code notThere;
    return !location.name.empty() &&
           fs::equivalent(folder / relativeModulePath(location.name), location.file, notThere);
}
