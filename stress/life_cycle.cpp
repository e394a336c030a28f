// life_cycle.cpp - engines and modules that come and go, without frames and while frames flow.
#include "stress/host.h"

namespace {

constexpr Picture SMALL{64, 48};

template <class Round>
void repeat(const char* title, Round round, Verdict& verdict) {
    constexpr int ROUNDS = 500, WARM_UP = 50;
    int failed = 0;
    Occupancy before;
    for (int i = 0; i < ROUNDS; ++i) {
        if (i == WARM_UP) before = Occupancy::take();
        failed += !round();
    }
    verdict.part(title);
    verdict.atMost("failed", failed, 0);
    Occupancy::take().requireNoMoreThan(before, verdict);
}

// Everything that a host may change. Each picture needs fewer bytes than are pushed.
void changeUntil(const std::atomic<bool>& stop) {
    constexpr Picture PICTURES[] = {SMALL, {64, 48, LUMETRA_IMGFORMAT_YUYV}, {8, 48, LUMETRA_IMGFORMAT_BGR}};
    constexpr LUMETRA_LOGFN sink = [](std::int32_t, const char16_t*) {};
    for (std::size_t i = 0; !stop; ++i) {
        Engine::configure(PICTURES[i % std::size(PICTURES)]);
        LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(sink), nullptr);
        LumetraCore_registerCallback(0, CB_HOSTTEXT, nullptr, nullptr);
        pause(1);
        for (const auto kind : {CB_LOG, CB_HOSTTEXT}) LumetraCore_unregisterCallback(0, kind);
    }
}

void removeWhileFramesFlow(unsigned seed, Verdict& verdict) {
    constexpr int REMOVALS = 200, FRAMES = 30;
    const Engine engine(SMALL);
    Camera camera(SMALL, seed);
    std::mt19937 random(seed);
    std::atomic<bool> stop = false;
    std::thread pusher([&] {
        while (!stop) camera.play(0, FRAMES, 500);
    });
    std::thread changer([&] { changeUntil(stop); });
    int delivered = 0, spoiled = 0, failed = 0;
    for (int i = 0; i < REMOVALS; ++i) {
        Listener listener(i % 2 == 0 ? u"Listening5" : u"Listening20", FRAMES);
        pause(static_cast<double>(random() % 10));
        failed += !listener.remove();
        delivered += listener.delivered;
        spoiled += listener.spoiled;
    }
    stop = true;
    pusher.join();
    changer.join();

    verdict.part("200 removals");
    verdict.atLeast("delivered", delivered, REMOVALS);
    verdict.atMost("failed", failed, 0);
    verdict.atMost("spoiled-meanwhile", spoiled, 0);
    Engine::configure(SMALL);
    pause(300);  // until nothing of before is delivered any more
    const Listener listener(u"Listening5", FRAMES);
    camera.play(0, FRAMES, 60);
    Listener::requireAll({&listener}, 0, FRAMES, verdict);
}

}  // namespace

void lifeCycle(const Settings& settings, Verdict& verdict) {
    Camera camera(SMALL, settings.seed);
    const auto engineLives = [&] {
        const Engine engine(SMALL);
        Listener listener(u"Listening5", 1);
        camera.push(0);
        msUntil([&] { return listener.delivered == 1; });
        return listener.delivered == 1 && listener.remove();
    };
    repeat("500 engines", engineLives, verdict);
    {
        const Engine engine(SMALL);
        repeat(
            "500 modules", [] { return Listener(u"Listening5", 1).remove(); }, verdict);
    }
    removeWhileFramesFlow(settings.seed, verdict);
}
