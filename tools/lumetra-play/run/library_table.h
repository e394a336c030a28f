// library_table.h - the library's exported functions as the player calls them. The program is not linked with
// the library but opens it: it prints while it is loaded, which has to come after standard output was taken
// over. Any thread.
#ifndef LUMETRA_PLAY_LIBRARY_TABLE_H
#define LUMETRA_PLAY_LIBRARY_TABLE_H

#include <string>

#include "LumetraCore/LumetraCore.h"
#include "LumetraCore/PGM_FUNCTIONS.h"

struct LibraryTable {
    decltype(&LumetraCore_initialize) initialize;
    decltype(&LumetraCore_destroy) destroy;
    decltype(&LumetraCore_command) command;
    decltype(&LumetraCore_registerDllByName) registerDllByName;
    decltype(&LumetraCore_initializeDllByID) initializeDllByID;
    decltype(&LumetraCore_unregisterDllByID) unregisterDllByID;
    decltype(&LumetraCore_registerCallback) registerCallback;
    decltype(&LumetraCore_unregisterCallback) unregisterCallback;
    decltype(&LumetraCore_getStatus) getStatus;
    decltype(&LumetraCore_pushImageData) pushImageData;
    decltype(&LumetraCore_getDeviceInfo) getDeviceInfo;
    decltype(&LumetraCore_enumerateAVDevicesNative) enumerateDevices;
    decltype(&read_pgm) readPgm;
};

/// Opens the library for the rest of the program's life.
/// @param path  empty: the one in the build or installation that the program belongs to
/// @throws PlayError if it cannot be opened or lacks a function
LibraryTable openLibrary(const std::string& path);

/// The folder that holds the program.
std::string programFolder();

#endif
