// engine.h - the real library, driven as a host drives it. It is opened at run time with its names kept to
// itself: a module that calls the engine without being linked to it fails here as it does in such a host.
#ifndef LUMETRA_INSPECT_ENGINE_H
#define LUMETRA_INSPECT_ENGINE_H

#include <LumetraCore/LumetraCore.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/lumetra-inspect/module_location.h"

/// The library, one of its functions or what this program tells it is not there or not taken.
struct EngineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One in a process.
class Engine {
public:
    /// @throws EngineError with the loader's words
    Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    decltype(&LumetraCore_initialize) initialize;
    decltype(&LumetraCore_destroy) destroy;
    decltype(&LumetraCore_command) command;
    decltype(&LumetraCore_registerDllByName) registerDllByName;
    decltype(&LumetraCore_initializeDllByID) initializeDllByID;
    decltype(&LumetraCore_unregisterDllByID) unregisterDllByID;
    decltype(&LumetraCore_unregisterDllByName) unregisterDllByName;
    decltype(&LumetraCore_registerCallback) registerCallback;
    decltype(&LumetraCore_unregisterCallback) unregisterCallback;
    decltype(&LumetraCore_getSupportedCallbacks) getSupportedCallbacks;
    decltype(&LumetraCore_getStatus) getStatus;
    decltype(&LumetraCore_pushImageData) pushImageData;

    /// @param configuration  JSON, of frames of 256 x 192 pixels
    void configure(std::int32_t format, int flags, bool mipMap, bool forward = false) const;
    /// Hands over that many frames for the configuration, 2 ms apart, and time for the last to arrive.
    void pushFrames(int count) const;
    /// In the module's folder, where alone its name leads to it.
    std::int32_t registerModule(const ModuleLocation& location) const;
    void initializeModule(std::int32_t id, const std::string& configuration) const;

private:
    void* m_library;
};

inline constexpr int ENGINE_WIDTH = 256, ENGINE_HEIGHT = 192;

#endif
