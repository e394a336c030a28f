// callbacks.cpp - which functions a module asks for, and what it does with those that it gets.
#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <string_view>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"

namespace {

constexpr std::size_t ROOM = 64;
constexpr std::ptrdiff_t KINDS = 4;  // for which the caller's array has room

// A log sink has no argument of its own.
std::atomic<int> firstCalls{0}, secondCalls{0};
std::atomic<bool> brokenText{false};
LoadedModule* reentered = nullptr;
NotedFault askingFault;

bool isText(std::u16string_view text) {
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] >= 0xDC00 && text[k] <= 0xDFFF) return false;
        if (text[k] < 0xD800 || text[k] > 0xDBFF) continue;
        if (++k == text.size() || text[k] < 0xDC00 || text[k] > 0xDFFF) return false;
    }
    return true;
}

void firstLog(std::int32_t, const char16_t* text) {
    ++firstCalls;
    if (text == nullptr || !isText(text)) brokenText = true;
}

void secondLog(std::int32_t, const char16_t*) {
    ++secondCalls;
}

void askingLog(std::int32_t, const char16_t*) {
    try {
        reentered->getStatus();
    } catch (const Finding& finding) {
        askingFault.note(finding.reason);
    }
}

void* asPointer(LUMETRA_LOGFN function) {
    return reinterpret_cast<void*>(function);
}

void takeResult(void*, const char*) {}

int refusePush(void*, const unsigned char*, int, const char*, int) {
    return 0;
}

const char16_t* keepText(void*, const char16_t* text) {
    return text;
}

// Of the kind's own type, since a module may call at once what it gets.
void* functionFor(std::int32_t kind) {
    switch (kind) {
        case CB_TYPE2:
            return reinterpret_cast<void*>(&takeResult);  // texts, where the module names the type
        case CB_PUSHNATIVEIMAGE:
            return reinterpret_cast<void*>(&refusePush);
        case CB_HOSTTEXT:
            return reinterpret_cast<void*>(&keepText);
        default:
            return asPointer(&firstLog);
    }
}

// All that makes a module log: a configuration that is broken, commands, frames.
void provoke(LoadedModule& module) {
    if (module.has("initialize")) module.initialize("{");
    if (module.has("command"))
        for (std::int32_t k = -1; k < 4; ++k) module.command(LUMETRA_CMD_MODULE_FIRST + k, "");
    if (module.has("notifyNewData"))
        for (int k = 0; k < 3; ++k) module.notifyNewData(nextFrameId(), makeFrame());
}

struct Listing {
    int count;
    std::ptrdiff_t written;           // it may write more than it counts
    std::vector<std::int32_t> kinds;  // those that it counts
};

// Over two different fillings, since a kind may look like either.
Listing listKinds(LoadedModule& module) {
    std::vector<std::int32_t> one(ROOM, 0x5A5A5A5A), other(ROOM, 0x3C3C3C3C);
    const int count = module.getSupportedCallbacks(one);
    module.getSupportedCallbacks(other);
    std::ptrdiff_t written = 0;
    for (std::size_t k = 0; k < ROOM; ++k)
        if (one[k] == other[k]) written = static_cast<std::ptrdiff_t>(k) + 1;
    one.resize(static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(count, 0, written)));
    return {count, written, one};
}

void countsRight(const Bench& bench) {
    LoadedModule module(bench);
    const Listing listing = listKinds(module);
    if (listing.count < 0 || listing.count > listing.written)
        fail("it gives " + std::to_string(listing.count) + " and has written " +
             std::to_string(listing.written));
}

void keepsToRoom(const Bench& bench) {
    LoadedModule module(bench);
    const Listing listing = listKinds(module);
    if (listing.written > KINDS)
        fail("it writes " + std::to_string(listing.written) + " kinds, and there is room for " +
             std::to_string(KINDS));
}

void listsKnownKinds(const Bench& bench) {
    LoadedModule module(bench);
    const std::vector<std::int32_t> kinds = listKinds(module).kinds;
    for (const std::int32_t kind : kinds) {
        if (kind < CB_LOG || kind > CB_HOSTTEXT) fail("it lists " + std::to_string(kind) + ", which is none");
        if (std::count(kinds.begin(), kinds.end(), kind) > 1)
            fail("it lists " + std::to_string(kind) + " more than once");
    }
}

void takesListedKinds(const Bench& bench) {
    LoadedModule module(bench);
    for (const std::int32_t kind : offeredKinds(module)) {
        const int taken = module.registerCallback(kind, functionFor(kind), nullptr);
        if (taken != 1)
            fail("it lists " + std::to_string(kind) + " and answers its registration with " +
                 std::to_string(taken));
        const int done = module.unregisterCallback(kind);
        if (done != 1)
            fail("it lists " + std::to_string(kind) + " and answers its unregistration with " +
                 std::to_string(done));
    }
}

void refusesOtherKinds(const Bench& bench) {
    LoadedModule module(bench);
    if (!module.has("getSupportedCallbacks")) skip("it has no getSupportedCallbacks");
    const std::vector<std::int32_t> offered = offeredKinds(module);
    for (const std::int32_t kind : {0, 1, 2, 3, 4, 5, 77, -1, INT_MIN, INT_MAX}) {
        if (std::count(offered.begin(), offered.end(), kind) > 0) continue;
        const int taken = module.registerCallback(kind, functionFor(kind), nullptr);
        if (taken != 0)
            fail("it does not list " + std::to_string(kind) + " and answers its registration with " +
                 std::to_string(taken));
    }
}

void takesNoFunction(const Bench& bench) {
    LoadedModule module(bench);
    for (const std::int32_t kind : offeredKinds(module)) module.registerCallback(kind, nullptr, nullptr);
    provoke(module);
}

void forgetsUnregistered(const Bench& bench) {
    LoadedModule module(bench);
    module.registerCallback(CB_LOG, asPointer(&firstLog), nullptr);
    provoke(module);
    module.unregisterCallback(CB_LOG);
    firstCalls = 0;
    provoke(module);
    if (firstCalls > 0) fail("it logged through a function that was unregistered");
}

void forgetsReplaced(const Bench& bench) {
    LoadedModule module(bench);
    module.registerCallback(CB_LOG, asPointer(&firstLog), nullptr);
    provoke(module);
    module.registerCallback(CB_LOG, asPointer(&secondLog), nullptr);
    firstCalls = 0;
    provoke(module);
    if (firstCalls > 0) fail("it logged through a function that was replaced");
}

void logsText(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare(asPointer(&firstLog));
    provoke(module);
    if (brokenText) fail("it logged what is no UTF-16");
}

void bearsQuestionsWhileLogging(const Bench& bench) {
    auto& module = lasting<LoadedModule>(bench);
    if (!module.has("getStatus")) skip("it has no getStatus");
    reentered = &module;
    module.prepare(asPointer(&askingLog));
    provoke(module);
    if (const std::string fault = askingFault.first(); !fault.empty()) fail(fault);
}

// The engine hands its own address to a module where the host gives no user pointer.
void answersEngineAlike(const Bench& bench) {
    LoadedModule module(bench);
    const Engine engine;
    engine.initialize();
    bench.stage("LumetraCore_registerDllByName");
    const std::int32_t id = engine.registerModule(bench.location.file);
    for (const std::int32_t kind : {1, 2, 4, 77}) {
        const int direct = module.registerCallback(kind, functionFor(kind), nullptr);
        bench.stage("LumetraCore_registerCallback of kind " + std::to_string(kind));
        const int through =
            engine.registerCallback(id, static_cast<LUMETRA_CBTYPE>(kind), functionFor(kind), nullptr);
        if (direct != through)
            fail("it answers the registration of " + std::to_string(kind) + " with " +
                 std::to_string(direct) + ", and with " + std::to_string(through) +
                 " where the user pointer is the engine");
    }
    std::array<LUMETRA_CBTYPE, ROOM> kinds{};
    const Listing listing = module.has("getSupportedCallbacks") ? listKinds(module) : Listing{-1, 0, {}};
    bench.stage("LumetraCore_getSupportedCallbacks");
    if (engine.getSupportedCallbacks(id, kinds.data()) != listing.count)
        fail("it lists another number of kinds to an engine");
}

}  // namespace

std::vector<Check> callbackChecks() {
    const std::string listing = "callbacks-known callbacks-count register-first unregister-first";
    const std::string inUse = WORKING + " unregister-first supported-first initialize-twice";
    return {
        {"callbacks-count", "getSupportedCallbacks gives no more than it writes.", "supported-first",
         countsRight},
        {"callbacks-room", "getSupportedCallbacks keeps to the room for every kind.", "callbacks-count",
         keepsToRoom},
        {"callbacks-known", "It lists only defined callback kinds, each once.", "callbacks-room",
         listsKnownKinds},
        {"callbacks-taken", "A kind that it lists is taken and given back, each with 1.", listing,
         takesListedKinds},
        {"callbacks-refused", "A kind that it does not list is refused with 0.", listing, refusesOtherKinds},
        {"callbacks-null", "A null function is not called.", inUse, takesNoFunction},
        {"callbacks-unregistered", "A function is not called once it was unregistered.", inUse,
         forgetsUnregistered},
        {"callbacks-replaced", "A function is not called once it was replaced.", inUse, forgetsReplaced},
        {"log-text", "What it logs is text.", WORKING + " initialize-twice", logsText},
        {"log-question", "getStatus returns while its log line is being handled.",
         WORKING + " status-first initialize-twice", bearsQuestionsWhileLogging},
        {"callbacks-user", "It answers alike with the engine as user pointer.",
         "registration register-first callbacks-count", answersEngineAlike},
    };
}
