// library_table.cpp - filling the table.
#include "tools/lumetra-play/run/library_table.h"

#include <dlfcn.h>

#include <filesystem>

#include "tools/lumetra-play/run/play_error.h"

LibraryTable linkedLibrary() {
    return {LumetraCore_initialize,
            LumetraCore_destroy,
            LumetraCore_command,
            LumetraCore_registerDllByName,
            LumetraCore_initializeDllByID,
            LumetraCore_unregisterDllByID,
            LumetraCore_registerCallback,
            LumetraCore_unregisterCallback,
            LumetraCore_getStatus,
            LumetraCore_pushImageData,
            LumetraCore_getDeviceInfo,
            LumetraCore_enumerateAVDevicesNative,
            read_pgm,
            read_ppm};
}

LibraryTable openLibrary(const std::string& path) {
    // With a directory in its name the loader takes this very file and searches nowhere else.
    const std::string absolute = std::filesystem::absolute(path).string();
    void* const library = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw PlayError("cannot open the library (" + std::string(dlerror()) + "): check --library");
    const auto find = [&](auto& function, const char* symbol) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, symbol));
        if (function == nullptr)
            throw PlayError(path + " has no function " + symbol + ": name a LumetraCore library");
    };
    LibraryTable table{};
    find(table.initialize, "LumetraCore_initialize");
    find(table.destroy, "LumetraCore_destroy");
    find(table.command, "LumetraCore_command");
    find(table.registerDllByName, "LumetraCore_registerDllByName");
    find(table.initializeDllByID, "LumetraCore_initializeDllByID");
    find(table.unregisterDllByID, "LumetraCore_unregisterDllByID");
    find(table.registerCallback, "LumetraCore_registerCallback");
    find(table.unregisterCallback, "LumetraCore_unregisterCallback");
    find(table.getStatus, "LumetraCore_getStatus");
    find(table.pushImageData, "LumetraCore_pushImageData");
    find(table.getDeviceInfo, "LumetraCore_getDeviceInfo");
    find(table.enumerateDevices, "LumetraCore_enumerateAVDevicesNative");
    find(table.readPgm, "read_pgm");
    find(table.readPpm, "read_ppm");
    return table;
}
