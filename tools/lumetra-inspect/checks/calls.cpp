// calls.cpp - each entry point by itself and first of all, in odd orders, with texts and numbers that nobody
// expects.
#include <pthread.h>

#include <climits>
#include <exception>
#include <functional>
#include <random>
#include <system_error>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/lumetra-inspect/trial/texts.h"

namespace {

void onLog(std::int32_t, const char16_t*) {}

void frameFirst(const Bench& bench) {
    LoadedModule module(bench);
    for (int k = 0; k < 3; ++k) module.notifyNewData(nextFrameId(), makeFrame());
}

void initializeFirst(const Bench& bench) {
    LoadedModule module(bench);
    module.initialize(bench.configuration);
}

void commandFirst(const Bench& bench) {
    LoadedModule module(bench);
    module.command(LUMETRA_CMD_STOP, "");
    module.command(LUMETRA_CMD_START, "");
    module.command(LUMETRA_CMD_MODULE_FIRST, "");
}

void statusFirst(const Bench& bench) {
    LoadedModule module(bench);
    for (int k = 0; k < 3; ++k) module.getStatus();
}

void supportedFirst(const Bench& bench) {
    LoadedModule module(bench);
    std::vector<std::int32_t> room(64);
    module.getSupportedCallbacks(room);
}

void registerFirst(const Bench& bench) {
    LoadedModule module(bench);
    module.registerCallback(CB_LOG, reinterpret_cast<void*>(&onLog), nullptr);
}

void unregisterFirst(const Bench& bench) {
    LoadedModule module(bench);
    for (std::int32_t kind = CB_LOG; kind <= CB_HOSTTEXT; ++kind) module.unregisterCallback(kind);
}

void destroyFirst(const Bench& bench) {
    LoadedModule module(bench);
    module.destroy();
}

void initializeBroken(const Bench& bench) {
    LoadedModule module(bench);
    for (const std::string& text : brokenTexts(bench.seed)) module.initialize(text);
    module.prepare();
}

void initializeTwice(const Bench& bench) {
    LoadedModule module(bench);
    module.initialize(bench.configuration);
    module.initialize("{");
    module.initialize(bench.configuration);
}

void commandNumbers(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    for (const std::int32_t number : {0, 1, 2, 5, 6, 7, 8, 9, 999, -1, INT_MIN, INT_MAX})
        module.command(number, "");
    for (std::int32_t k = 0; k < 20; ++k) module.command(LUMETRA_CMD_MODULE_FIRST + k, "");
    std::mt19937 random(bench.seed);
    for (int k = 0; k < 40; ++k) module.command(static_cast<std::int32_t>(random()), "");
}

void commandTexts(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    for (const std::string& text : brokenTexts(bench.seed))
        for (std::int32_t k = 0; k < 8; ++k) module.command(LUMETRA_CMD_MODULE_FIRST + k, text.c_str());
}

struct SmallStack {
    const Bench* bench;
    LoadedModule* module;
    std::exception_ptr failure;
};

void* onSmallStack(void* argument) {
    auto& work = *static_cast<SmallStack*>(argument);
    try {
        work.module->prepare(reinterpret_cast<void*>(&onLog));
        if (work.module->has("notifyNewData"))
            for (int k = 0; k < 3; ++k) work.module->notifyNewData(nextFrameId(), makeFrame());
        if (work.module->has("command")) work.module->command(LUMETRA_CMD_MODULE_FIRST, "");
        if (work.module->has("getStatus")) work.module->getStatus();
        if (work.module->has("destroy")) work.module->destroy();
    } catch (...) {
        work.failure = std::current_exception();
    }
    return nullptr;
}

// What threads have by default on the systems with the smallest ones.
void fitsSmallStack(const Bench& bench) {
    constexpr std::size_t STACK_BYTES = 512 * 1024, FENCE_BYTES = 16 << 20;
    LoadedModule module(bench);
    SmallStack work{&bench, &module, nullptr};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setguardsize(&attributes, FENCE_BYTES);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, &onSmallStack, &work);
    if (error != 0) throw std::system_error(error, std::generic_category(), "a thread");
    pthread_join(thread, nullptr);
    if (work.failure != nullptr) std::rethrow_exception(work.failure);
}

// Answers that differ without an engine, such as counts, show nothing.
void compare(const std::string& call, const std::function<int()>& direct,
             const std::function<int()>& throughEngine) {
    const int first = direct(), second = direct(), passed = throughEngine(), last = direct();
    if (first == second && first == last && passed != first)
        fail(call + " answers " + std::to_string(first) + ", and " + std::to_string(passed) +
             " through the engine");
}

void answersThroughEngine(const Bench& bench) {
    LoadedModule module(bench);
    const Engine engine;
    engine.initialize();
    bench.stage("LumetraCore_registerDllByName");
    const std::int32_t id = engine.registerModule(bench.location.file);
    if (module.has("getStatus"))
        compare(
            "getStatus", [&] { return module.getStatus(); }, [&] { return engine.getStatus(id); });
    for (const std::int32_t number : {-1, 16, LUMETRA_CMD_MODULE_FIRST + 0, LUMETRA_CMD_MODULE_FIRST + 999})
        if (module.has("command"))
            compare(
                "command " + std::to_string(number), [&] { return module.command(number, ""); },
                [&] { return engine.command(id, static_cast<LUMETRA_CMDTYPE>(number), u""); });
}

}  // namespace

std::vector<Check> callChecks() {
    return {
        {"frame-first", "A frame may come before anything else.", "id", frameFirst},
        {"initialize-first", "initialize may come first.", "id", initializeFirst},
        {"command-first", "Commands may come before initialize.", "id", commandFirst},
        {"status-first", "getStatus may come first.", "id", statusFirst},
        {"supported-first", "getSupportedCallbacks may come first.", "id", supportedFirst},
        {"register-first", "A callback may be registered first.", "id", registerFirst},
        {"unregister-first", "A callback may be unregistered that never was registered.", "id",
         unregisterFirst},
        {"destroy-first", "A module that was only loaded can be removed.", "id", destroyFirst},
        {"initialize-broken", "initialize takes texts that are broken, deep or long.",
         WORKING + " initialize-twice", initializeBroken, 5},
        {"initialize-twice", "initialize may come again.", WORKING, initializeTwice},
        {"command-numbers", "Any command number is answered.", WORKING, commandNumbers},
        {"command-texts", "Commands take texts that are broken, deep or long.", WORKING, commandTexts},
        {"engine-answers", "Its status and answers to commands reach a host unchanged.",
         "registration status-first command-numbers", answersThroughEngine},
        {"small-stack", "512 KiB of stack are enough for every entry point.",
         WORKING + " status-first destroy-first", fitsSmallStack},
    };
}
