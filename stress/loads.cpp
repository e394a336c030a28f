// loads.cpp - a camera's own rate, under which no frame is dropped and nothing piles up; and more frames than
// the machine converts, or than a module lets through, of which some are dropped while memory stays bounded.
#include "stress/host.h"

void steadyLoad(const Settings& settings, Verdict& verdict) {
    constexpr Picture VGA{640, 480};
    for (const int framesPerSecond : {60, 240}) {
        const int warmUp = 2 * framesPerSecond, frames = warmUp + settings.seconds * framesPerSecond;
        const Engine engine(VGA);
        const Listener first(u"Listening5", frames), second(u"Listening20", frames),
            third(u"Listening30", frames);
        Camera camera(VGA, settings.seed);
        Occupancy::take();
        camera.play(0, warmUp, framesPerSecond);
        const Occupancy before = Occupancy::take();
        camera.play(warmUp, frames - warmUp, framesPerSecond);
        const Occupancy after = Occupancy::take();

        verdict.part(std::to_string(framesPerSecond) + "/s");
        after.requireNoMoreThan(before, verdict);
        Listener::requireAll({&first, &second, &third}, 0, frames, verdict);
        verdict.show("camera-late-ms", camera.worstDelayMs);
    }
}

namespace {

constexpr struct Load {
    const char* name;
    Picture picture;
    int cameras, framesPerSecond;  // 0: as fast as they can
} LOADS[] = {{"1080p 240/s", {1920, 1080}, 1, 240},
             {"1080p flat out", {1920, 1080}, 4, 0},
             {"64x48 flat out", {64, 48}, 4, 0}};

double memoryBound(double pushedPerSecond, const Camera& camera) {
    return 1.5 * (pushedPerSecond / 10 + 8) * camera.frameMb() + 96;
}

void overloadBy(const Load& load, const Settings& settings, Verdict& verdict) {
    constexpr int FRAMES_AFTERWARDS = 60;
    const Engine engine(load.picture);
    const Listener listener(u"Listening5", FRAMES_AFTERWARDS);
    std::vector<Camera> cameras(static_cast<std::size_t>(load.cameras), Camera(load.picture, settings.seed));
    std::atomic<bool> stop = false;
    std::atomic<unsigned> pushed = 0;
    std::vector<std::thread> threads;
    const double before = Occupancy::take().residentMb;
    for (Camera& camera : cameras)
        threads.emplace_back([&] {
            // Always the same frame, so that pushing costs nothing but the push.
            for (constexpr int FRAME = FRAMES_AFTERWARDS; !stop; ++pushed)
                load.framesPerSecond == 0 ? camera.push(FRAME) : camera.play(FRAME, 1, load.framesPerSecond);
        });
    double slowestDelivered = INFINITY, fastestPushed = 0;
    for (int second = 0; second < settings.seconds; ++second) {
        const int deliveredBefore = listener.delivered;
        const unsigned pushedBefore = pushed;  // may wrap
        pause(1000);
        slowestDelivered = std::min(slowestDelivered, 1.0 * (listener.delivered - deliveredBefore));
        fastestPushed = std::max(fastestPushed, 1.0 * (pushed - pushedBefore));
    }
    stop = true;
    for (auto& thread : threads) thread.join();
    const double peakMb = Occupancy::take().peakMb - before;

    verdict.part(load.name);
    verdict.show("most-pushed/s", fastestPushed);
    verdict.atLeast("least-delivered/s", slowestDelivered, 10);
    verdict.atMost("MB", peakMb, memoryBound(fastestPushed, cameras[0]));
    pause(1000);
    cameras[0].play(0, FRAMES_AFTERWARDS, 60);
    Listener::requireAll({&listener}, 0, FRAMES_AFTERWARDS, verdict);
    verdict.atMost("MB-afterwards", Occupancy::take().residentMb - before, memoryBound(60, cameras[0]));
}

}  // namespace

void overload(const Settings& settings, Verdict& verdict) {
    for (const Load& load : LOADS) overloadBy(load, settings, verdict);
}

namespace {

// Every worker is inside the module for most of the time, or all of it, and conversions wait behind it.
void playBehind(const char16_t* behaviour, const char* title, const Settings& settings, Verdict& verdict) {
    constexpr Picture FULL_HD{1920, 1080, LUMETRA_IMGFORMAT_BGRA};
    constexpr int RATE = 60, FRAMES_AFTERWARDS = 60;
    const Engine engine(FULL_HD);
    Camera camera(FULL_HD, settings.seed);
    const double before = Occupancy::take().residentMb;
    LumetraCore_initializeDllByID(LumetraCore_registerDllByName(u"Misbehaving"), behaviour);
    camera.play(0, settings.seconds * RATE, RATE);
    const double peakMb = Occupancy::take().peakMb - before;

    verdict.part(title);
    verdict.atMost("MB", peakMb, memoryBound(RATE, camera));
    LumetraCore_unregisterDllByName(u"Misbehaving");
    msUntil([] { return !isMapped(u"Misbehaving"); });
    const Listener listener(u"Listening5", FRAMES_AFTERWARDS);
    pause(1000);
    camera.play(0, FRAMES_AFTERWARDS, RATE);
    Listener::requireAll({&listener}, 0, FRAMES_AFTERWARDS, verdict);
}

}  // namespace

void stuckModules(const Settings& settings, Verdict& verdict) {
    playBehind(u"sleep", "500 ms a frame", settings, verdict);
    playBehind(u"hang", "never returns", settings, verdict);
}
