// library_table.h - the library's exported functions as a host calls them. The tools are not linked with the
// library but open it, with its names kept to itself: a module that calls the library without being linked to
// it fails here as it does in such a host. Any thread.
#ifndef LUMETRA_TOOLS_LIBRARY_TABLE_H
#define LUMETRA_TOOLS_LIBRARY_TABLE_H

#include <filesystem>
#include <stdexcept>
#include <string>

#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/PGM_FUNCTIONS.h>

/// The library or one of its functions is not there; with the loader's words.
struct LibraryError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class LibraryTable {
    struct Symbol {
        void* address;
        template <class Function>
        operator Function*() const {  // NOLINT(google-explicit-constructor): what it is for
            return reinterpret_cast<Function*>(address);
        }
    };
    static void* open(const std::string& path);
    Symbol find(const char* name) const;

    void* m_library;  // stays open for the rest of the program's life

public:
    /// @param path  empty: the library of the build or installation that the program belongs to
    /// @throws LibraryError
    explicit LibraryTable(const std::string& path = {}) : m_library(open(path)) {}

    /// Registers the module NAME of the file NAME.framework/NAME from the folder where alone its name leads
    /// there. The working folder belongs to the whole program: one call at a time.
    std::int32_t registerModule(const std::filesystem::path& file) const;

    decltype(&LumetraCore_initialize) initialize = find("LumetraCore_initialize");
    decltype(&LumetraCore_destroy) destroy = find("LumetraCore_destroy");
    decltype(&LumetraCore_command) command = find("LumetraCore_command");
    decltype(&LumetraCore_registerDllByName) registerDllByName = find("LumetraCore_registerDllByName");
    decltype(&LumetraCore_initializeDllByID) initializeDllByID = find("LumetraCore_initializeDllByID");
    decltype(&LumetraCore_unregisterDllByID) unregisterDllByID = find("LumetraCore_unregisterDllByID");
    decltype(&LumetraCore_unregisterDllByName) unregisterDllByName = find("LumetraCore_unregisterDllByName");
    decltype(&LumetraCore_registerCallback) registerCallback = find("LumetraCore_registerCallback");
    decltype(&LumetraCore_unregisterCallback) unregisterCallback = find("LumetraCore_unregisterCallback");
    decltype(&LumetraCore_getSupportedCallbacks) getSupportedCallbacks =
        find("LumetraCore_getSupportedCallbacks");
    decltype(&LumetraCore_getStatus) getStatus = find("LumetraCore_getStatus");
    decltype(&LumetraCore_pushImageData) pushImageData = find("LumetraCore_pushImageData");
    decltype(&LumetraCore_getDeviceInfo) getDeviceInfo = find("LumetraCore_getDeviceInfo");
    decltype(&LumetraCore_enumerateAVDevicesNative) enumerateDevices =
        find("LumetraCore_enumerateAVDevicesNative");
    decltype(&read_pgm) readPgm = find("read_pgm");
};

#endif
