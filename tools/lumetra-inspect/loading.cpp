// loading.cpp - the child that plays the host, and what its lines mean.
#include "tools/lumetra-inspect/loading.h"

#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/utf_conversion.h>
#include <dlfcn.h>

#include <exception>

#include "tools/lumetra-inspect/guarded_child.h"

namespace {

const ChildLines* toParent = nullptr;  // a log sink has no argument of its own

void onLog(std::int32_t, const char16_t* text) {
    toParent->tell("log", convertUTFFormatVto8<char16_t, char>(text));
}

bool isMapped(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

void playHost(const ModuleLocation& location, const ChildLines& lines) {
    std::filesystem::current_path(location.folder);
    toParent = &lines;
    const std::u16string name = convertUTFFormat8toV<char, char16_t>(location.name);
    const std::string path = relativeModulePath(location.name);

    LumetraCore_initialize();
    LumetraCore_registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(&onLog), nullptr);
    lines.tell("stage", "loading it");
    const std::int32_t id = LumetraCore_registerDllByName(name.c_str());
    lines.tell("result", std::to_string(id));
    if (id >= 1) {
        lines.tell("stage", "getStatus");
        lines.tell("status", std::to_string(LumetraCore_getStatus(id)));
        lines.tell("stage", "removing it");
        lines.tell("removed", LumetraCore_unregisterDllByName(name.c_str()) == 1 ? "1" : "0");
    }
    lines.tell("unmapped", isMapped(path) ? "0" : "1");
    lines.tell("stage", "ending the engine");
    LumetraCore_destroy();
}

void playHostCatching(const ModuleLocation& location, const ChildLines& lines) {
    try {
        playHost(location, lines);
    } catch (const std::exception& error) {
        lines.tell("thrown", error.what());
    } catch (...) {
        lines.tell("thrown", "an exception of the module's own");
    }
}

void openBinding(const ModuleLocation& location, int when, const ChildLines& lines) {
    lines.tell("stage", "loading it");
    if (dlopen(location.file.c_str(), when) == nullptr) lines.tell("error", dlerror());
}

struct Opening {
    std::string error, fault;  // the loader's words; or how the process ended
};

Opening tryOpening(const ModuleLocation& location, int when, std::chrono::milliseconds limit) {
    const ChildResult child =
        runGuarded([&](const ChildLines& lines) { openBinding(location, when, lines); }, {limit});
    for (const auto& [kind, text] : child.lines)
        if (kind == "error") return {text, ""};
    return {"", child.fault};
}

void take(const ChildLine& line, Trial& trial, std::string& stage) {
    const auto& [kind, text] = line;
    if (kind == "log") trial.log.push_back(text);
    if (kind == "stage") stage = text;
    if (kind == "result") trial.result = std::stoi(text);
    if (kind == "status") trial.status = std::stoi(text);
    if (kind == "removed") trial.removed = text == "1";
    if (kind == "unmapped") trial.unmapped = text == "1";
    if (kind == "thrown") trial.fault = "threw through the engine while " + stage + ": " + text;
}

}  // namespace

Trial tryModule(const ModuleLocation& location, std::chrono::milliseconds limit) {
    const ChildResult child =
        runGuarded([&](const ChildLines& lines) { playHostCatching(location, lines); }, {limit});
    Trial trial;
    std::string stage = "starting the engine";
    for (const ChildLine& line : child.lines) take(line, trial, stage);
    if (!child.finished) trial.fault = child.fault + " while " + stage;
    if (trial.result == 0) trial.loaderError = loaderError(location, limit);
    return trial;
}

std::string missingSymbols(const ModuleLocation& location, std::chrono::milliseconds limit) {
    return tryOpening(location, RTLD_NOW, limit).error;
}

std::string loaderError(const ModuleLocation& location, std::chrono::milliseconds limit) {
    const Opening opening = tryOpening(location, RTLD_LAZY, limit);
    return opening.error.empty() ? opening.fault : opening.error;
}
