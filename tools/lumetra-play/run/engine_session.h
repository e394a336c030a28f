// engine_session.h - the library from its initialization to its end, with its modules in between.
// One thread. Everything that went up comes down in the opposite order: modules removed, engine destroyed.
#ifndef LUMETRA_PLAY_ENGINE_SESSION_H
#define LUMETRA_PLAY_ENGINE_SESSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/options.h"

struct EngineSettings {
    Picture picture;
    std::int32_t flags;    ///< LUMETRA_CONVERSIONMODIFIER
    bool pyramid;          ///< "mipMap"
    std::string writable;  ///< absolute path
    bool forward = false;  ///< "forwardNativeImage"
};

/// The configuration document that the engine takes.
std::string configurationText(const EngineSettings& settings);

class EngineSession {
public:
    explicit EngineSession(const LibraryTable& library);
    ~EngineSession();
    EngineSession(const EngineSession&) = delete;
    EngineSession& operator=(const EngineSession&) = delete;

    /// @throws PlayError if the engine refuses
    void configure(const EngineSettings& settings);
    /// Loads FOLDER/NAME.framework/NAME, which makes FOLDER the working folder, since the loader looks there.
    /// @throws PlayError if it cannot be loaded or has the id of another module
    std::int32_t loadModule(const ModuleRequest& module, const std::string& folder);

private:
    const LibraryTable& m_library;
    std::vector<std::int32_t> m_modules;  // ids, in the order of loading
};

#endif
