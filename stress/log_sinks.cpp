// log_sinks.cpp - every frame is logged about, twice where it is converted and once where it is delivered,
// while the sink throws, logs itself or is replaced.
#include <stdexcept>

#include "stress/host.h"

namespace {

std::atomic<int> logged, pushed;

void countingSink(std::int32_t, const char16_t*) {
    ++logged;
}

void throwingSink(std::int32_t, const char16_t*) {
    ++logged;
    throw std::runtime_error("sink");
}

// Whether the sink can be installed and gets the next message.
bool replaceBy(LUMETRA_LOGFN sink) {
    const int done = LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(sink), nullptr);
    const int before = logged;
    LumetraCore_passLogFromNativeLib(u"to the new sink");
    return done == 1 && logged > before;
}

// Everything in here logs, and so comes here again.
void reenteringSink(std::int32_t, const char16_t*) {
    static thread_local bool inside = false;
    ++logged;
    if (std::exchange(inside, true)) return;
    LumetraCore_command(0, LUMETRA_CMD_START, u"");
    LumetraCore_registerDllByName(u"Nowhere");
    replaceBy(&reenteringSink);
    inside = false;
}

// Each text that it gets makes the engine log more, and push a frame, of which nothing is logged.
void pushingSink(std::int32_t, const char16_t*) {
    static thread_local bool inside = false;
    static const std::vector<unsigned char> pixels(64 * 48 * 3);
    ++logged;
    pushed += LumetraCore_pushImageData(pixels.data(), static_cast<int>(pixels.size()), u"{}", -1);
    if (std::exchange(inside, true)) return;
    LUMETRA_CBTYPE kinds[4];
    for (const auto command : {LUMETRA_CMD_START, LUMETRA_CMD_STOP}) LumetraCore_command(0, command, u"");
    LumetraCore_registerDllByName(u"Nowhere");
    LumetraCore_initializeDllByName(u"Nowhere", u"");
    LumetraCore_initializeDllByID(77, u"");
    LumetraCore_unregisterDllByName(u"Nowhere");
    LumetraCore_unregisterDllByID(77);
    LumetraCore_registerCallback(0, CB_HOSTTEXT, nullptr, nullptr);
    LumetraCore_unregisterCallback(0, CB_HOSTTEXT);
    LumetraCore_getSupportedCallbacks(0, kinds);
    LumetraCore_getStatus(0);
    LumetraCore_passLogFromNativeLib(u"from the sink");
    replaceBy(&pushingSink);
    inside = false;
}

// A push that waits in vain takes 100 ms, and there are some thousand of them.
void pushFromTheSink(Verdict& verdict) {
    constexpr int ROUNDS = 100;
    const Engine engine({64, 48});
    // Grey and no more: a frame that shares its millisecond is converted again, and has no second flip to
    // log.
    LumetraCore_command(0, LUMETRA_CMD_CONFIGURE,
                        uR"({"imageCfg":{"width":64,"height":48},"format":1,"conversionflags":1})");
    pushed = 0;
    replaceBy(&pushingSink);
    const auto begin = Clock::now();
    for (int round = 0; round < ROUNDS; ++round) LumetraCore_passLogFromNativeLib(u"round");
    verdict.part("pushes a frame for each text");
    verdict.atLeast("pushed", pushed, 10 * ROUNDS);
    verdict.atMost("seconds", Milliseconds(Clock::now() - begin).count() / 1000, 10);
}

void play(const char* title, LUMETRA_LOGFN sink, int replacements, unsigned seed, Verdict& verdict) {
    constexpr Picture YUYV{64, 48, LUMETRA_IMGFORMAT_YUYV};  // has no flip and no levels, which is logged
    constexpr int FRAMES = 200;
    const Engine engine(YUYV);
    LumetraCore_registerDllByName(u"Mute");
    int failed = !replaceBy(sink);
    const int before = logged;
    {
        const Listener listener(u"Listening5", FRAMES);
        std::thread pusher([&] { Camera(YUYV, seed).play(0, FRAMES, 120); });
        for (int i = 0; i < replacements; ++i) {
            failed += !replaceBy(i % 2 == 0 ? &throwingSink : sink);
            if (i % 10 == 0) pause(1);
        }
        pusher.join();
        failed += !replaceBy(&countingSink);
        verdict.part(title);
        Listener::requireAll({&listener}, 0, FRAMES, verdict);
        verdict.atLeast("messages", logged - before, 3 * FRAMES);
        verdict.atMost("not-replaced", failed, 0);
    }
    LumetraCore_unregisterDllByName(u"Mute");
}

}  // namespace

void logSinks(const Settings& settings, Verdict& verdict) {
    play("throws", &throwingSink, 0, settings.seed, verdict);
    play("logs itself", &reenteringSink, 0, settings.seed, verdict);
    pushFromTheSink(verdict);
    play("10,000 replacements", &countingSink, 10'000, settings.seed, verdict);
}
