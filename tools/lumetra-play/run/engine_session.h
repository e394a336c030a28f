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

#include "tools/lumetra-play/modules/module_library.h"
#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/support/library_table.h"

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
    int reloads;
};

class EngineSession {
public:
    /// @param scratch  for copies of watched modules; null if none is watched
    EngineSession(const LibraryTable& library, const ScratchFolder* scratch);
    ~EngineSession();
    EngineSession(const EngineSession&) = delete;
    EngineSession& operator=(const EngineSession&) = delete;

    /// @throws PlayError if the engine refuses
    void configure(const EngineSettings& settings);
    /// Loads FOLDER/NAME.framework/NAME, a watched module from a copy, and configures it. Its id.
    /// @throws PlayError if it cannot be loaded or has the id of another module
    std::int32_t loadModule(const ModuleRequest& request, const std::string& folder);
    /// Puts what is now in the module's file in its place, with the same configuration. The old library stays
    /// until the new one is known to load, and comes back if the new one then fails. @throws PlayError, which
    /// says what is left
    void reloadModule(const std::string& name);

    /// Sends a command and says what the module answers. @throws PlayError if there is no such module
    int command(const CommandRequest& request);
    std::vector<ModuleReport> report() const;
    /// The module's own file, not a copy, and its stamp from before it was loaded.
    std::pair<std::filesystem::path, FileStamp> fileOf(const std::string& name) const;

private:
    // What a module hands out as texts, until the engine is gone: it calls on any thread.
    struct Results {
        explicit Results(std::string name) : module(std::move(name)) {}
        const std::string module;
        std::mutex mutex;  // guards what follows
        std::int64_t count = 0;
        std::string last;
    };
    struct Module {
        ModuleRequest request;
        std::filesystem::path folder;  // of its own file
        FileStamp stamp;               // of its own file
        std::filesystem::path loaded;  // the file that the engine has opened
        std::int32_t id = 0;
        Results* results = nullptr;  // one of m_results
        bool handsOutTexts = false;
        int reloads = 0;
    };

    static void onResult(void* results, const char* utf8Json);
    Module find(const std::string& nameOrId) const;
    std::filesystem::path copyOf(const Module& module);
    void open(Module& module, const std::filesystem::path& file);
    void remove(const Module& module);
    std::string putBack(Module before);

    const LibraryTable& m_library;
    const ScratchFolder* const m_scratch;
    int m_copied = 0;
    std::mutex m_loading;          // one module comes or goes at a time; before m_mutex
    mutable std::mutex m_mutex;    // guards m_modules
    std::deque<Module> m_modules;  // in the order of loading
    std::deque<Results> m_results;
};

#endif
