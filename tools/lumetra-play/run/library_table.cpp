// library_table.cpp - finding the library, filling the table.
#include "tools/lumetra-play/run/library_table.h"

#include <dlfcn.h>

#include <filesystem>

#include "tools/lumetra-play/run/play_error.h"

namespace {

namespace fs = std::filesystem;

void* open(const std::string& path) {
    if (!path.empty()) {
        // With a directory in its name the loader takes this very file and searches nowhere else.
        return dlopen(fs::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    void* const beside = dlopen((programFolder() + "/../lib/" LUMETRA_LIBRARY_NAME).c_str(), RTLD_NOW);
    return beside != nullptr ? beside : dlopen(LUMETRA_LIBRARY_NAME, RTLD_NOW);
}

}  // namespace

LibraryTable openLibrary(const std::string& path) {
    void* const library = open(path);
    if (library == nullptr)
        throw PlayError("cannot open the library (" + std::string(dlerror()) + "): name it by --library");
    const auto find = [&](auto& function, const char* symbol) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, symbol));
        if (function == nullptr)
            throw PlayError((path.empty() ? "the library" : path) + " has no function " + symbol +
                            ": name a LumetraCore library");
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
    return table;
}

std::string programFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path().string();
}
