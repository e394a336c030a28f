// engine_session.h - the library from its initialization to its end, with its modules in between. Everything
// that went up comes down in the opposite order: modules removed, engine destroyed. Made, given its modules
// and ended on one thread; commands go from any thread, reloads from one at a time.
#ifndef LUMETRA_PLAY_ENGINE_SESSION_H
#define LUMETRA_PLAY_ENGINE_SESSION_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "tools/lumetra-play/modules/module_library.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/support/library_table.h"
#include "tools/support/text.h"

class EngineSession {
public:
    struct Module {
        Module(ModuleRequest wanted, std::filesystem::path library)
            : request(std::move(wanted)), file(std::move(library)) {}

        bool isView() const { return request.name == "LiveView"; }

        const ModuleRequest request;
        const std::filesystem::path file;   // its own
        std::unique_ptr<LibraryCopy> copy;  // of a watched one: what the engine has opened
        std::atomic<std::int32_t> id =
            0;  // 0 while it is not loaded; commands read it while a reload sets it
        bool handsOutTexts = false;
        int reloads = 0;
        mutable std::mutex mutex;  // guards what follows
        std::int64_t results = 0;
        std::string lastResult;
    };

    /// @param modulePath  the user's folder of modules; empty for none
    EngineSession(const LibraryTable& library, std::string modulePath);
    ~EngineSession();

    /// @param json  the engine's configuration. @throws PlayError if it refuses
    void configure(const std::string& json);
    /// Loads a module, a watched one from a copy, and configures it.
    /// @throws PlayError if it cannot be loaded or has the id of another module
    void loadModule(const ModuleRequest& request);
    /// Puts what is now in the file of a watched module in its place, with the same configuration. The old
    /// library stays until the new one is known to load, and comes back if the new one then fails.
    /// @throws PlayError, which says what is left
    void reloadModule(const std::string& name);

    /// Sends a command and says what the module answers. @throws PlayError if there is no such module
    int command(const CommandRequest& request);
    /// What is known of each module: "name", "id", "status", "reloads" and, of one that hands out texts,
    /// "results" and "lastResult". While nothing is reloaded.
    Json report() const;
    const std::deque<Module>& modules() const { return m_modules; }

private:
    static void onResult(void* module, const char* utf8Json);
    Module& find(const std::string& nameOrId);
    void open(Module& module, const std::filesystem::path& file);
    void remove(const Module& module);
    std::string putBack(Module& module);

    const LibraryTable& m_library;
    const std::string m_modulePath;
    std::deque<Module> m_modules;  // in the order of loading; modules hold pointers to their own
};

#endif
