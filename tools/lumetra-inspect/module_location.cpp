// module_location.cpp - names and paths of modules.
#include "tools/lumetra-inspect/module_location.h"

#include <algorithm>

#include "tools/support/module_files.h"

namespace fs = std::filesystem;

namespace {

// Of a bare name, from the working folder where it is nowhere.
fs::path pathOfName(const std::string& name) {
    std::error_code ignored;
    for (const fs::path& folder : usualFolders())
        if (fs::exists(moduleFile(folder, name), ignored)) return moduleFile(folder, name);
    return moduleFile({}, name);
}

}  // namespace

std::vector<fs::path> usualFolders() {
    std::vector<fs::path> folders = {fs::current_path()};
    for (const fs::path& folder : moduleFoldersOfProgram())
        if (folder != folders.front()) folders.push_back(folder);
    return folders;
}

ModuleLocation locateModule(const std::string& text) {
    std::error_code ignored;  // what cannot be read counts as not there
    fs::path given(text);
    if (!given.has_filename()) given = given.parent_path();  // "NAME.framework/"

    ModuleLocation location;
    if (given.extension() == ".framework" && fs::is_directory(given, ignored))
        given /= given.stem();
    else if (!given.has_parent_path() &&
             (!fs::exists(given, ignored) || fs::exists(moduleFile({}, text), ignored)))
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
           fs::equivalent(moduleFile(folder, location.name), location.file, notThere);
}
