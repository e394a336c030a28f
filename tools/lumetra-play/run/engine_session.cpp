// engine_session.cpp - bringing the library and its modules up and down.
#include "tools/lumetra-play/run/engine_session.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "LumetraCore/TextResults.h"
#include "tools/lumetra-play/modules/view_link.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

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

std::string whyNotLoaded(const fs::path& file) try {
    idOfLibrary(file);
    return "the library does not say why";
} catch (const PlayError& error) {
    return error.what();
}

// A call into a module, which may throw anything. It becomes an error of the player's own: the threads of the
// console and of the watch catch nothing else, and what was thrown may not outlive the module's code.
template <class Call>
auto inModule(const std::string& module, const std::string& what, const Call& call) {
    const WaitingFor waiting("the module " + module + " to " + what);
    const auto failure = [&](const std::string& reason) {
        return PlayError("the module " + module + " threw an exception when it was to " + what + " (" +
                         reason + "): mend it or leave it out");
    };
    try {
        return call();
    } catch (const std::exception& error) {
        throw failure(error.what());
    } catch (...) {
        throw failure("not a std::exception");
    }
}

void onLogLine(std::int32_t level, const char16_t* text) {
    ViewLink::handOnLine(text);
    output::onLogLine(level, text);
}

void* logFunction() {
    return reinterpret_cast<void*>(&onLogLine);
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

EngineSession::EngineSession(const LibraryTable& library, const ScratchFolder* scratch)
    : m_library(library), m_scratch(scratch) {
    m_library.initialize();
    m_library.registerCallback(ENGINE_MODULE_ID, CB_LOG, logFunction(), nullptr);
}

EngineSession::~EngineSession() {
    for (auto module = m_modules.rbegin(); module != m_modules.rend(); ++module) try {
            remove(*module);
        } catch (const PlayError& error) {
            output::complain(error.what());
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
    // The stamp comes first: a change while it is loaded is one that is still to be loaded.
    Module module{request, folder, stampOf(moduleFile(folder, request.name)), {}};
    module.results = &m_results.emplace_back(request.name);
    open(module, request.watched ? copyOf(module) : moduleFile(folder, request.name));
    const std::lock_guard lock(m_mutex);
    m_modules.push_back(module);
    return module.id;
}

void EngineSession::reloadModule(const std::string& name) {
    const std::lock_guard loading(m_loading);
    const Module before = find(name);
    Module module = before;
    fs::path file;
    std::error_code ignored;
    try {
        file = copyOf(module);
        // While this library is only looked at, the old one goes on working.
        if (const std::int32_t id = idOfLibrary(file); id != module.id)
            throw PlayError("its id is now " + std::to_string(id) + " instead of " +
                            std::to_string(module.id));
        remove(module);
    } catch (const std::exception& error) {
        if (!file.empty()) fs::remove_all(file.parent_path(), ignored);
        throw PlayError("the new " + name + " is not used, the old one stays: " + error.what());
    }
    try {
        open(module, file);
    } catch (const std::exception& error) {
        fs::remove_all(file.parent_path(), ignored);
        throw PlayError("the new " + name + " is not used, " + putBack(before) + ": " + error.what());
    }
    fs::remove_all(before.loaded.parent_path(), ignored);
    ++module.reloads;
    const std::lock_guard lock(m_mutex);
    *std::find_if(m_modules.begin(), m_modules.end(),
                  [&](const Module& candidate) { return candidate.id == module.id; }) = module;
}

std::string EngineSession::putBack(Module before) try {
    try {
        remove(before);           // the new one, if it came so far
    } catch (const PlayError&) {  // the old one takes its place in the library all the same
    }
    open(before, before.loaded);
    return "the old one is back";
} catch (const std::exception&) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_modules, [&](const Module& module) { return module.id == before.id; });
    return "nor does the old one load again";
}

// The loader gives a path that it has open again, and a file that changes under it changes the code that
// runs.
fs::path EngineSession::copyOf(const Module& module) {
    const std::string name = module.request.name + "-" + std::to_string(++m_copied);
    const fs::path file = moduleFile(m_scratch->path(), name);
    std::error_code error;
    fs::create_directory(file.parent_path());
    fs::copy_file(moduleFile(module.folder, module.request.name), file, error);
    if (error) throw PlayError("cannot copy it (" + error.message() + ")");
    return file;
}

void EngineSession::open(Module& module, const fs::path& file) {
    const std::string& name = module.request.name;
    module.id = inModule(name, "be loaded", [&] {
        const WorkingFolder folder(file.parent_path().parent_path());
        return m_library.registerDllByName(toUtf16(file.filename().string()).c_str());
    });
    const std::string more = "; lumetra-inspect " + moduleFile(module.folder, name).string() + " says more";
    if (module.id == 0) throw PlayError("cannot load the module " + name + ": " + whyNotLoaded(file) + more);
    if (module.id < 0)
        throw PlayError("the module " + name + " has no usable id: its getModuleID must give 1 or more" +
                        more);
    module.loaded = file;
    {
        const std::lock_guard lock(m_mutex);
        for (const Module& other : m_modules)
            if (other.id == module.id && other.request.name != name)
                throw PlayError("the module " + name + " has the id " + std::to_string(module.id) +
                                ", which " + other.request.name + " has: leave one out");
    }
    const LUMETRA_TEXTRESULTFN function = &onResult;
    inModule(name, "be configured", [&] {
        m_library.registerCallback(module.id, CB_LOG, logFunction(), nullptr);
        module.handsOutTexts =
            m_library.command(module.id, LUMETRA_CMD_RESULTFORM, u"") == LUMETRA_RESULTFORM_TEXT &&
            m_library.registerCallback(module.id, CB_TYPE2, reinterpret_cast<void*>(function),
                                       module.results) == 1;
        if (module.request.configuration)
            m_library.initializeDllByID(module.id, toUtf16(*module.request.configuration).c_str());
    });
}

void EngineSession::remove(const Module& module) {
    inModule(module.request.name, "be removed", [&] { return m_library.unregisterDllByID(module.id); });
}

EngineSession::Module EngineSession::find(const std::string& nameOrId) const {
    const std::lock_guard lock(m_mutex);
    std::string names;
    for (const Module& module : m_modules) {
        if (module.request.name == nameOrId || std::to_string(module.id) == nameOrId) return module;
        names += (names.empty() ? "" : ", ") + module.request.name;
    }
    throw PlayError("no module " + nameOrId + " is loaded: there is " + names);
}

int EngineSession::command(const CommandRequest& request) {
    const std::string name = request.module + ":" + std::to_string(request.number);
    const std::int32_t id = find(request.module).id;
    const int answer = inModule(request.module, "answer " + name, [&] {
        return m_library.command(id, LUMETRA_CMDTYPE(request.number), toUtf16(request.text).c_str());
    });
    output::say(name + " answers " + std::to_string(answer));
    return answer;
}

void EngineSession::onResult(void* results, const char* utf8Json) {
    auto& own = *static_cast<Results*>(results);
    const std::string text = utf8Json == nullptr ? "" : utf8Json;
    {
        const std::lock_guard lock(own.mutex);
        ++own.count;
        own.last = text;
    }
    ViewLink::handOnResult(own.module, text);
    output::showResult(own.module + " " + text);
}

std::vector<ModuleReport> EngineSession::report() const {
    std::deque<Module> modules;
    {
        const std::lock_guard lock(m_mutex);
        modules = m_modules;
    }
    std::vector<ModuleReport> reports;
    for (const Module& module : modules) {
        const std::int32_t status =
            inModule(module.request.name, "tell its status", [&] { return m_library.getStatus(module.id); });
        const std::lock_guard lock(module.results->mutex);
        reports.push_back({module.request.name, module.id, status,
                           module.handsOutTexts ? std::optional(module.results->count) : std::nullopt,
                           module.results->last, module.reloads});
    }
    return reports;
}

std::pair<fs::path, FileStamp> EngineSession::fileOf(const std::string& name) const {
    const Module module = find(name);
    return {moduleFile(module.folder, name), module.stamp};
}
