// module_location.cpp - names and paths of modules.
#include "tools/lumetra-inspect/module_location.h"

namespace fs = std::filesystem;

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
        given = relativeModulePath(text);
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
