// pushing.cpp - frames of a module's own, and what its host answers to them.
#include <atomic>
#include <new>
#include <stdexcept>
#include <string>

#include <LumetraCore/utf_conversion.h>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/lumetra-inspect/trial/process_state.h"

namespace {

struct HostsOwnError {};  // of no standard type

// Stands in for the engine, whose address it is.
struct Receiver {
    enum class Answer { Take, Refuse, Throw } answer = Answer::Take;
    std::atomic<int> pushes{0};
    NotedFault fault;
};

Receiver* receiver = nullptr;

std::string faultOf(const unsigned char* data, int size, const char* descriptor) {
    if (size < 0) return "a size of " + std::to_string(size);
    if (data == nullptr && size > 0) return "no pixels and a size of " + std::to_string(size);
    unsigned sum = 0;
    for (int k = 0; k < size; ++k) sum += data[k];  // all of them have to be there
    static std::atomic<unsigned> read{0};
    read += sum;
    try {
        if (descriptor != nullptr) convertUTFFormat8toV<char, char16_t>(std::string(descriptor));
    } catch (const std::range_error&) {
        return "a descriptor that is no UTF-8";
    }
    return {};
}

int onPush(void* context, const unsigned char* data, int size, const char* descriptor, int) {
    const int number = ++receiver->pushes;
    if (context != receiver) receiver->fault.note("another context than the user pointer");
    const std::string fault = faultOf(data, size, descriptor);
    if (!fault.empty()) receiver->fault.note(fault);
    if (receiver->answer == Receiver::Answer::Refuse) return 0;
    if (receiver->answer == Receiver::Answer::Take) return 1;
    if (number % 3 == 0) throw std::bad_alloc();
    if (number % 3 == 1) throw std::range_error("wstring_convert: from_bytes error");
    throw HostsOwnError();
}

// What the host's own functions throw in a call of the host comes back to it.
void tolerate(const std::function<void()>& call) {
    try {
        call();
    } catch (const Finding& finding) {
        const bool own = finding.reason.find("HostsOwnError") != std::string::npos ||
                         finding.reason.find("bad_alloc") != std::string::npos ||
                         finding.reason.find("wstring_convert") != std::string::npos;
        if (finding.verdict != Verdict::Fail || !own) throw;
    }
}

void registerPush(LoadedModule& module, Receiver& target) {
    receiver = &target;
    if (module.registerCallback(CB_PUSHNATIVEIMAGE, reinterpret_cast<void*>(&onPush), &target) != 1)
        skip("it takes no function to push frames with");
}

// Until it has pushed some, or is not going to.
void makeItPush(LoadedModule& module, Receiver& target) {
    constexpr int FRAMES = 6, ENOUGH = 4;
    constexpr std::chrono::milliseconds PATIENCE(200);
    tolerate([&] { module.prepare(); });
    for (int k = 0; k < FRAMES && module.has("notifyNewData"); ++k)
        tolerate([&] { module.notifyNewData(nextFrameId(), makeFrame()); });
    becomesTrue([&] { return target.pushes >= ENOUGH; }, PATIENCE);
    if (target.pushes == 0) skip("it pushed no frame; --config gives it a configuration with which it does");
}

void pushesSoundly(const Bench& bench) {
    LoadedModule module(bench);
    auto& target = lasting<Receiver>();
    registerPush(module, target);
    makeItPush(module, target);
    if (const std::string fault = target.fault.first(); !fault.empty()) fail("it pushes " + fault);
}

void bears(const Bench& bench, Receiver::Answer answer) {
    LoadedModule module(bench);
    auto& target = lasting<Receiver>();
    target.answer = answer;
    registerPush(module, target);
    makeItPush(module, target);
    module.unregisterCallback(CB_PUSHNATIVEIMAGE);
}

void bearsRefusal(const Bench& bench) {
    bears(bench, Receiver::Answer::Refuse);
}

void bearsExceptions(const Bench& bench) {
    bears(bench, Receiver::Answer::Throw);
}

void stopsPushing(const Bench& bench) {
    constexpr std::chrono::milliseconds PATIENCE(30);
    LoadedModule module(bench);
    auto& target = lasting<Receiver>();
    registerPush(module, target);
    makeItPush(module, target);
    module.unregisterCallback(CB_PUSHNATIVEIMAGE);
    const int before = target.pushes;
    if (module.has("notifyNewData")) module.notifyNewData(nextFrameId(), makeFrame());
    becomesTrue([&] { return target.pushes > before; }, PATIENCE);
    if (target.pushes > before) fail("it pushes through a function that was unregistered");
    module.registerCallback(CB_PUSHNATIVEIMAGE, reinterpret_cast<void*>(&onPush), &target);
    if (module.has("command")) module.command(LUMETRA_CMD_START, "");
    if (module.has("destroy")) module.destroy();
    const int atEnd = target.pushes;
    becomesTrue([&] { return target.pushes > atEnd; }, PATIENCE);
    if (target.pushes > atEnd) fail("it pushes after destroy");
}

const char16_t* answerText(void*, const char16_t* text) {
    static std::atomic<int> number{0};
    static const std::u16string LONG_TEXT = u"{\"a\":\"" + std::u16string(100000, u'x') + u"\"}";
    static const char16_t HALF[] = {u'"', 0xD800, u'"', 0};
    switch (number++ % 8) {
        case 0:
            return text;
        case 1:
            return nullptr;
        case 2:
            return u"";
        case 3:
            return u"{\"answer\":1}";
        case 4:
            return u"{ broken";
        case 5:
            return LONG_TEXT.c_str();
        case 6:
            return HALF;
        default:
            throw HostsOwnError();
    }
}

// Its frames come back to it, with descriptors of the host's.
void pushesToEngine(const Bench& bench) {
    LoadedModule module(bench);
    const Engine engine;
    engine.initialize();
    engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&answerText), nullptr);
    engine.configure(LUMETRA_IMGFORMAT_GRAY8, LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID, false, true);
    bench.stage("LumetraCore_registerDllByName");
    const std::int32_t id = engine.registerModule(bench.location.file);
    bench.stage("LumetraCore_registerCallback of kind 3");
    if (engine.registerCallback(id, CB_PUSHNATIVEIMAGE, nullptr, nullptr) != 1)
        skip("it takes no function to push frames with");
    tolerate([&] { module.prepare(); });
    bench.stage("pushes to an engine whose host answers in all ways");
    engine.pushFrames(30);
    engine.destroy();
}

}  // namespace

std::vector<Check> pushChecks() {
    return {
        {"push-arguments", "It pushes frames that are there, with text as descriptor.", WORKING,
         pushesSoundly},
        {"push-refused", "A push may be refused.", WORKING + " unregister-first", bearsRefusal},
        {"push-throws", "A push may throw.", WORKING + " unregister-first", bearsExceptions},
        {"push-ends", "It pushes nothing once the function was unregistered, or after destroy.",
         WORKING + " unregister-first destroy-first", stopsPushing},
        {"push-engine", "A real engine takes its frames, whatever the host answers to their descriptors.",
         "push-arguments push-throws push-refused engine-frames frame-descriptors", pushesToEngine},
    };
}
