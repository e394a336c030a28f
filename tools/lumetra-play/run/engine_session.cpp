// engine_session.cpp - bringing the library and its modules up and down.
#include "tools/lumetra-play/run/engine_session.h"

#include <atomic>
#include <nlohmann/json.hpp>

#include "LumetraCore/TextResults.h"
#include "plugins/LiveView/LiveView.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/output.h"

namespace {

namespace fs = std::filesystem;

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

// The library's function for commands while LiveView is loaded: its page shows results and log lines too.
std::atomic<decltype(&LumetraCore_command)> commandForView = nullptr;

void showOnPage(std::int32_t number, const char16_t* text) {
    // What is logged while the module takes a line would be the next line for it to take.
    thread_local bool sending = false;
    const auto command = commandForView.load();
    if (sending || command == nullptr) return;
    sending = true;
    try {
        command(LIVEVIEW_ID, LUMETRA_CMDTYPE(number), text);
    } catch (...) {  // it would be the caller's, who knows nothing of a view
    }
    sending = false;
}

void onLogLine(std::int32_t level, const char16_t* text) {
    showOnPage(LIVEVIEW_CMD_LOG, text);
    output::onLogLine(level, text);
}

void* const LOG_FUNCTION = reinterpret_cast<void*>(&onLogLine);

}  // namespace

EngineSession::EngineSession(const LibraryTable& library, std::string modulePath)
    : m_library(library), m_modulePath(std::move(modulePath)) {
    m_library.initialize();
    m_library.registerCallback(ENGINE_MODULE_ID, CB_LOG, LOG_FUNCTION, nullptr);
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
        if (isMapped(module.copy ? module.copy->file : module.file))
            busy += (busy.empty() ? "" : ", ") + module.request.name;
    const WaitingFor waiting(busy.empty() ? "the library's end"
                                          : "a frame that is still in the module " + busy);
    m_library.destroy();
}

void EngineSession::configure(const std::string& json) {
    if (m_library.command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, toUtf16(json).c_str()) != 1)
        throw PlayError("the library refused the configuration: look at its log with --log");
}

void EngineSession::loadModule(const ModuleRequest& request) {
    Module& module = m_modules.emplace_back(request, findModule(request.name, m_modulePath));
    if (request.watched) module.copy = std::make_unique<LibraryCopy>(module.file);
    open(module, request.watched ? module.copy->file : module.file);
}

void EngineSession::reloadModule(const std::string& name) {
    Module& module = find(name);
    const auto notUsed = [&name](const std::string& left, const std::exception& error) {
        return PlayError("the new " + name + " is not used, " + left + ": " + error.what());
    };
    std::unique_ptr<LibraryCopy> copy;
    try {
        copy = std::make_unique<LibraryCopy>(module.file);
        // While this library is only looked at, the old one goes on working.
        if (const std::int32_t id = idOfLibrary(copy->file); id != module.id)
            throw PlayError("its id is now " + std::to_string(id) + " instead of " +
                            std::to_string(module.id));
        remove(module);
    } catch (const std::exception& error) {
        if (module.isView()) commandForView = m_library.command;
        throw notUsed("the old one stays", error);
    }
    try {
        open(module, copy->file);
    } catch (const std::exception& error) {
        throw notUsed(putBack(module), error);
    }
    module.copy = std::move(copy);
    ++module.reloads;
}

std::string EngineSession::putBack(Module& module) try {
    try {
        remove(module);           // the new one, if it came so far
    } catch (const PlayError&) {  // the old one takes its place in the library all the same
    }
    open(module, module.copy->file);
    return "the old one is back";
} catch (const PlayError&) {
    module.id = 0;
    return "nor does the old one load again";
}

void EngineSession::open(Module& module, const fs::path& file) {
    const std::string& name = module.request.name;
    const std::int32_t id = inModule(name, "be loaded", [&] { return m_library.registerModule(file); });
    const std::string more = "; lumetra-inspect " + module.file.string() + " says more";
    if (id == 0) throw PlayError("cannot load the module " + name + ": " + whyNotLoaded(file) + more);
    if (id < 0)
        throw PlayError("the module " + name + " has no usable id: its getModuleID must give 1 or more" +
                        more);
    for (const Module& other : m_modules)
        if (other.id == id && &other != &module)
            throw PlayError("the module " + name + " has the id " + std::to_string(id) + ", which " +
                            other.request.name + " has: leave one out");
    module.id = id;
    const LUMETRA_TEXTRESULTFN function = &onResult;
    inModule(name, "be configured", [&] {
        m_library.registerCallback(id, CB_LOG, LOG_FUNCTION, nullptr);
        module.handsOutTexts =
            m_library.command(id, LUMETRA_CMD_RESULTFORM, u"") == LUMETRA_RESULTFORM_TEXT &&
            m_library.registerCallback(id, CB_TYPE2, reinterpret_cast<void*>(function), &module) == 1;
        if (module.request.configuration)
            m_library.initializeDllByID(id, toUtf16(*module.request.configuration).c_str());
    });
    if (module.isView()) commandForView = m_library.command;
}

void EngineSession::remove(const Module& module) {
    if (module.id == 0) return;
    if (module.isView()) commandForView = nullptr;
    inModule(module.request.name, "be removed", [&] { return m_library.unregisterDllByID(module.id); });
}

EngineSession::Module& EngineSession::find(const std::string& nameOrId) {
    std::string names;
    for (Module& module : m_modules) {
        if (module.id == 0) continue;
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

void EngineSession::onResult(void* user, const char* utf8Json) {
    auto& module = *static_cast<Module*>(user);
    const std::string text = utf8Json == nullptr ? "" : utf8Json;
    {
        const std::lock_guard lock(module.mutex);
        ++module.results;
        module.lastResult = text;
    }
    const std::string line = module.request.name + " " + text;
    if (commandForView != nullptr) showOnPage(LIVEVIEW_CMD_RESULT, toUtf16(line).c_str());
    output::showResult(line);
}

Json EngineSession::report() const {
    Json report = Json::array();
    for (const Module& module : m_modules) {
        if (module.id == 0) continue;
        const std::string& name = module.request.name;
        const std::int32_t status =
            inModule(name, "tell its status", [&] { return m_library.getStatus(module.id); });
        report.push_back(
            {{"name", name}, {"id", module.id.load()}, {"status", status}, {"reloads", module.reloads}});
        const std::lock_guard lock(module.mutex);
        if (module.handsOutTexts)
            report.back().update({{"results", module.results}, {"lastResult", parseJson(module.lastResult)}});
    }
    return report;
}
