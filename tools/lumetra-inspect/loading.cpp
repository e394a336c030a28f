// loading.cpp - the child that plays the host, and what its lines mean.
#include "tools/lumetra-inspect/loading.h"

#include <dlfcn.h>

#include <exception>

#include "tools/lumetra-inspect/guarded_child.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/support/module_files.h"
#include "tools/support/text.h"

namespace {

const ChildLines* toParent = nullptr;  // a log sink has no argument of its own

void onLog(std::int32_t, const char16_t* text) {
    toParent->tell("log", toUtf8(text));
}

void playHost(const ModuleLocation& location, const ChildLines& lines) {
    toParent = &lines;
    const std::u16string name = toUtf16(location.name);
    const Engine engine;
    engine.initialize();
    engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(&onLog), nullptr);
    lines.tell("stage", "loading it");
    const std::int32_t id = engine.registerModule(location.file);
    lines.tell("result", std::to_string(id));
    if (id >= 1) {
        lines.tell("stage", "getStatus");
        lines.tell("status", std::to_string(engine.getStatus(id)));
        lines.tell("stage", "removing it");
        lines.tell("removed", engine.unregisterDllByName(name.c_str()) == 1 ? "1" : "0");
    }
    lines.tell("unmapped", isMapped(location.file) ? "0" : "1");
    lines.tell("stage", "ending the engine");
    engine.destroy();
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

void take(const ChildLine& line, Loading& loading, std::string& stage) {
    const auto& [kind, text] = line;
    if (kind == "log") loading.log.push_back(text);
    if (kind == "stage") stage = text;
    if (kind == "result") loading.result = std::stoi(text);
    if (kind == "status") loading.status = std::stoi(text);
    if (kind == "removed") loading.removed = text == "1";
    if (kind == "unmapped") loading.unmapped = text == "1";
    if (kind == "thrown") loading.fault = "threw through the engine while " + stage + ": " + text;
}

}  // namespace

Loading tryLoading(const ModuleLocation& location, std::chrono::milliseconds limit) {
    const ChildResult child =
        runGuarded([&](const ChildLines& lines) { playHostCatching(location, lines); }, {limit});
    Loading loading;
    std::string stage = "starting the engine";
    for (const ChildLine& line : child.lines) take(line, loading, stage);
    if (!child.finished) loading.fault = child.fault + " while " + stage;
    if (loading.result == 0) loading.loaderError = loaderError(location, limit);
    return loading;
}

std::string loaderError(const ModuleLocation& location, std::chrono::milliseconds limit) {
    const auto open = [&](const ChildLines& lines) {
        if (dlopen(location.file.c_str(), RTLD_LAZY) == nullptr) lines.tell("error", dlerror());
    };
    const ChildResult child = runGuarded(open, {limit});
    for (const auto& [kind, text] : child.lines)
        if (kind == "error") return text;
    return child.fault;
}
