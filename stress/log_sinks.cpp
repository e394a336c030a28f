// log_sinks.cpp - every frame is logged about, twice where it is converted and once where it is told, while
// the sink throws, logs itself or is replaced.
#include <stdexcept>

#include "stress/host.h"

namespace {

std::atomic<int> logged;

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

void play(const char* title, LUMETRA_LOGFN sink, int replacements, unsigned seed, Verdict& verdict) {
    constexpr Picture YUYV{64, 48, LUMETRA_IMGFORMAT_YUYV};  // has no flip and no levels, which is logged
    constexpr int FRAMES = 200;
    const Engine engine(YUYV);
    LumetraCore_registerDllByName(u"Mute");
    int failed = !replaceBy(sink);
    const int before = logged;
    {
        const Listener listener(u"Telling5", FRAMES);
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
    play("10,000 replacements", &countingSink, 10'000, settings.seed, verdict);
}
