// engine_session.cpp - bringing the library and its modules up and down.
#include "tools/lumetra-play/run/engine_session.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/run/text.h"

namespace {

namespace fs = std::filesystem;

// The loader looks for NAME.framework/NAME from the working folder, which belongs to the whole program.
class WorkingFolder {
public:
    explicit WorkingFolder(const fs::path& folder) : m_before(fs::current_path(m_ignored)) {
        fs::current_path(folder);
    }
    ~WorkingFolder() { fs::current_path(m_before, m_ignored); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    std::error_code m_ignored;
    const fs::path m_before;
};

std::string moreAbout(const fs::path& file) {
    return "; lumetra-inspect " + file.string() + " says more";
}

}  // namespace

std::string configurationText(const EngineSettings& settings) {
    return toText({{"imageCfg", {{"width", settings.picture.width}, {"height", settings.picture.height}}},
                   {"mipMap", settings.pyramid},
                   {"format", static_cast<std::int32_t>(settings.picture.format)},
                   {"conversionflags", settings.flags},
                   {"forwardNativeImage", settings.forward},
                   {"writablepath", settings.writable}});
}

EngineSession::EngineSession(const LibraryTable& library, bool resultsAside)
    : m_library(library), m_resultsAside(resultsAside) {
    m_library.initialize();
    m_library.registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(&onLogLine), nullptr);
}

EngineSession::~EngineSession() {
    for (auto module = m_modules.rbegin(); module != m_modules.rend(); ++module) {
        const WaitingFor waiting("the module " + module->request.name + " to be removed");
        m_library.unregisterDllByID(module->id);
    }
    // A library that is still mapped is one whose code still runs.
    std::string busy;
    for (const Module& module : m_modules)
        if (isMapped(module.loaded)) busy += (busy.empty() ? "" : ", ") + module.request.name;
    const WaitingFor waiting(busy.empty() ? "the library's end"
                                          : "a frame that is still in the module " + busy);
    m_library.destroy();
}

void EngineSession::configure(const EngineSettings& settings) {
    const std::u16string text = toUtf16(configurationText(settings));
    if (m_library.command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, text.c_str()) != 1)
        throw PlayError("the library refused the configuration: look at its log with --log");
}

std::int32_t EngineSession::loadModule(const ModuleRequest& request, const std::string& folder) {
    const std::lock_guard loading(m_loading);
    Module module{request, folder, {}};
    module.results = &m_results.emplace_back(request.name, m_resultsAside);
    open(module, request.watched ? copyOf(module) : moduleFile(folder, request.name));
    const std::lock_guard lock(m_mutex);
    m_modules.push_back(module);
    return module.id;
}

void EngineSession::swapModule(const std::string& name) {
    const std::lock_guard loading(m_loading);
    Module module;
    {
        const std::lock_guard lock(m_mutex);
        module = find(name);
    }
    const fs::path before = module.loaded, file = copyOf(module);
    try {
        // While this library is only looked at, the old one goes on working.
        const std::int32_t id = idOfLibrary(file);
        if (id != module.id)
            throw PlayError("its id is now " + std::to_string(id) + " instead of " +
                            std::to_string(module.id));
    } catch (...) {
        fs::remove_all(file.parent_path());
        throw;
    }
    {
        const WaitingFor waiting("the module " + name + " to be removed");
        m_library.unregisterDllByID(module.id);
    }
    open(module, file);
    fs::remove_all(before.parent_path());
    ++module.swaps;
    const std::lock_guard lock(m_mutex);
    find(name) = module;
}

// The loader gives a path that it has open again, and a file that changes under it changes the code that
// runs.
fs::path EngineSession::copyOf(const Module& module) {
    if (!m_copies) m_copies.emplace();
    const std::string name = module.request.name + "-" + std::to_string(++m_copied);
    const fs::path file = moduleFile(m_copies->path(), name);
    std::error_code error;
    fs::create_directory(file.parent_path());
    fs::copy_file(moduleFile(module.folder, module.request.name), file, error);
    if (error) throw PlayError("cannot copy it (" + error.message() + ")");
    return file;
}

void EngineSession::open(Module& module, const fs::path& file) {
    const std::string& name = module.request.name;
    const fs::path own = moduleFile(module.folder, name);
    {
        const WaitingFor waiting("the module " + name + " to be loaded");
        const WorkingFolder folder(file.parent_path().parent_path());
        module.id = m_library.registerDllByName(toUtf16(file.filename().string()).c_str());
    }
    if (module.id == 0) {
        std::string reason = "the library does not say why";
        try {
            idOfLibrary(file);
        } catch (const PlayError& error) {
            reason = error.what();
        }
        throw PlayError("cannot load the module " + name + ": " + reason + moreAbout(own));
    }
    if (module.id < 0)
        throw PlayError("the module " + name + " has no usable id: its getModuleID must give 1 or more" +
                        moreAbout(own));
    module.loaded = file;
    {
        const std::lock_guard lock(m_mutex);
        for (const Module& other : m_modules)
            if (other.id == module.id && other.request.name != name)
                throw PlayError("the module " + name + " has the id " + std::to_string(module.id) +
                                ", which " + other.request.name + " has: leave one out");
    }
    const WaitingFor waiting("the module " + name + " to take its configuration");
    m_library.registerCallback(module.id, CB_LOG, reinterpret_cast<void*>(&onLogLine), nullptr);
    module.handsOutTexts = module.results->listenTo(m_library, module.id);
    if (module.request.configuration)
        m_library.initializeDllByID(module.id, toUtf16(*module.request.configuration).c_str());
}

EngineSession::Module& EngineSession::find(const std::string& nameOrId) {
    const auto module = std::find_if(m_modules.begin(), m_modules.end(), [&](const Module& candidate) {
        return candidate.request.name == nameOrId || std::to_string(candidate.id) == nameOrId;
    });
    if (module != m_modules.end()) return *module;
    std::string names;
    for (const Module& candidate : m_modules) names += (names.empty() ? "" : ", ") + candidate.request.name;
    throw PlayError("no module " + nameOrId + " is loaded: there is " + names);
}

int EngineSession::command(const CommandRequest& request) {
    std::int32_t id = 0;
    {
        const std::lock_guard lock(m_mutex);
        id = find(request.module).id;
    }
    const WaitingFor waiting("the module " + request.module + " to answer command " +
                             std::to_string(request.number));
    return m_library.command(id, LUMETRA_CMDTYPE(request.number), toUtf16(request.text).c_str());
}

std::vector<ModuleReport> EngineSession::report() const {
    std::deque<Module> modules;
    {
        const std::lock_guard lock(m_mutex);
        modules = m_modules;
    }
    std::vector<ModuleReport> reports;
    for (const Module& module : modules) {
        const auto results = module.handsOutTexts ? std::optional(module.results->count()) : std::nullopt;
        reports.push_back({module.request.name, module.id, m_library.getStatus(module.id), results,
                           module.results->last(), module.swaps});
    }
    return reports;
}

fs::path EngineSession::fileOf(const std::string& name) const {
    const std::lock_guard lock(m_mutex);
    for (const Module& module : m_modules)
        if (module.request.name == name) return moduleFile(module.folder, name);
    return {};
}
