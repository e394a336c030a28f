// module_location.h - where a module lies, and from which folder a host finds it by its name.
#ifndef LUMETRA_INSPECT_MODULE_LOCATION_H
#define LUMETRA_INSPECT_MODULE_LOCATION_H

#include <filesystem>
#include <string>
#include <vector>

struct ModuleLocation {
    std::filesystem::path file;    // absolute
    std::string name;              // what a host registers; empty if no name leads to the file
    std::filesystem::path folder;  // the working folder in which that name leads there
};

/// Where modules are looked for if nobody says where: the working folder and, beside this program, where they
/// are built or installed. Only those that there are.
std::vector<std::filesystem::path> usualFolders();

/// @param text  the NAME of a module in a usual folder, or the path of a NAME.framework folder or of the
/// library in
///              it
ModuleLocation locateModule(const std::string& text);

/// Whether a host that works in `folder` reaches this very file by its name.
bool resolvesFrom(const std::filesystem::path& folder, const ModuleLocation& location);

#endif
