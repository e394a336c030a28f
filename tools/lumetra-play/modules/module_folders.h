// module_folders.h - where modules lie. No state.
#ifndef LUMETRA_PLAY_MODULE_FOLDERS_H
#define LUMETRA_PLAY_MODULE_FOLDERS_H

#include <string>

/// The absolute path of the folder that has the module: `requested` if that has it or nothing else does, else
/// one beside the program. @param requested  the user's choice; empty for none
/// @throws PlayError if there is no folder to try
std::string folderOfModule(const std::string& name, const std::string& requested);

#endif
