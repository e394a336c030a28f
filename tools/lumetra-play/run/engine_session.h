// engine_session.h - the library from its initialization to its end, with its modules in between. Everything
// that went up comes down in the opposite order: modules removed, engine destroyed. Made and ended on one
// thread; the rest is for any.
#ifndef LUMETRA_PLAY_ENGINE_SESSION_H
#define LUMETRA_PLAY_ENGINE_SESSION_H

#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumetra-play/modules/module_files.h"
#include "tools/lumetra-play/modules/module_results.h"
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

/// What is known of a module at some time.
struct ModuleReport {
    std::string name;
    std::int32_t id, status;
    std::optional<std::int64_t> results;  ///< nothing if it hands out no texts
    std::string lastResult;               ///< JSON
    int swaps;                            ///< how often it was loaded anew
};

class EngineSession {
public:
    /// @param resultsAside  module results go to standard error
    EngineSession(const LibraryTable& library, bool resultsAside);
    ~EngineSession();
    EngineSession(const EngineSession&) = delete;
    EngineSession& operator=(const EngineSession&) = delete;

    /// @throws PlayError if the engine refuses
    void configure(const EngineSettings& settings);
    /// Loads FOLDER/NAME.framework/NAME, a watched module from a copy, and configures it. Its id.
    /// @throws PlayError if it cannot be loaded or has the id of another module
    std::int32_t loadModule(const ModuleRequest& request, const std::string& folder);
    /// Puts what is now in the module's file in its place, with the same configuration. The old library stays
    /// until the new one is known to load. @throws PlayError if it does not
    void swapModule(const std::string& name);

    /// Sends a command; the module's answer. @throws PlayError if there is no such module
    int command(const CommandRequest& request);
    std::vector<ModuleReport> report() const;
    /// The folder and name of a module's own file, not of a copy.
    std::filesystem::path fileOf(const std::string& name) const;

private:
    struct Module {
        ModuleRequest request;
        std::filesystem::path folder;  // of its own file
        std::filesystem::path loaded;  // the file that the engine has opened
        std::int32_t id = 0;
        ModuleResults* results = nullptr;  // one of m_results
        bool handsOutTexts = false;
        int swaps = 0;
    };

    Module& find(const std::string& nameOrId);  // with the lock held
    std::filesystem::path copyOf(const Module& module);
    void open(Module& module, const std::filesystem::path& file);

    const LibraryTable& m_library;
    const bool m_resultsAside;
    std::optional<ScratchFolder> m_copies;
    int m_copied = 0;
    std::mutex m_loading;          // one module comes or goes at a time; before m_mutex
    mutable std::mutex m_mutex;    // guards m_modules
    std::deque<Module> m_modules;  // in the order of loading
    std::deque<ModuleResults> m_results;
};

#endif
