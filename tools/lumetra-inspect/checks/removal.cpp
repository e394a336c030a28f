// removal.cpp - the end of a module, and what it leaves to its host.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <sstream>
#include <thread>

#include "tools/lumetra-inspect/trial/allocations.h"
#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/lumetra-inspect/trial/process_state.h"
#include "tools/support/module_files.h"

namespace {

constexpr int RELOADS = 200, WARM_UP = 40;
constexpr std::chrono::milliseconds UNTIL_THE_SYSTEM_SEES_IT(
    50);  // a thread that was joined is listed for a moment

void onLog(std::int32_t, const char16_t*) {}

void sendSome(LoadedModule& module, int count = 3) {
    for (int k = 0; k < count && module.has("notifyNewData"); ++k)
        module.notifyNewData(nextFrameId(), makeFrame({64, 48}));
}

// All of a module's life.
void live(const Bench& bench) {
    LoadedModule module(bench);
    module.getModuleID();
    module.prepare(reinterpret_cast<void*>(&onLog));
    sendSome(module);
    module.remove();
}

void bearsLateFrame(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare(reinterpret_cast<void*>(&onLog));
    sendSome(module);
    if (module.has("destroy")) module.destroy();
    sendSome(module);
}

void isRemovedAmidFrames(const Bench& bench) {
    constexpr int ROUNDS = 4;
    std::int32_t id = 0;
    {
        LoadedModule module(bench);
        if (!module.has("notifyNewData")) skip("it has no notifyNewData");
        id = module.getModuleID();
        module.close();
    }
    const Engine engine;
    engine.initialize();
    engine.configure(LUMETRA_IMGFORMAT_GRAY8, LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID, true);
    std::atomic<bool> over{false};
    std::thread pusher([&] {
        while (!over) engine.pushFrames(4);
    });
    bench.stage("removal amid the frames of an engine");
    int removed = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        if (engine.registerModule(bench.location.file) != id) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        removed += engine.unregisterDllByID(id);
    }
    over = true;
    pusher.join();
    engine.destroy();
    if (removed != ROUNDS) fail("the engine cannot remove it amid frames, and load it again");
}

void endsThreads(const Bench& bench) {
    const std::ptrdiff_t before = threadCount();
    LoadedModule module(bench);
    module.prepare(reinterpret_cast<void*>(&onLog));
    sendSome(module);
    if (module.has("destroy")) module.destroy();
    const auto left = [before] { return threadCount() - before; };
    if (!becomesTrue([&] { return left() <= 0; }, UNTIL_THE_SYSTEM_SEES_IT))
        fail(std::to_string(left()) + " threads of its own run on after destroy");
}

void endsProcesses(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare(reinterpret_cast<void*>(&onLog));
    sendSome(module);
    if (module.has("destroy")) module.destroy();
    if (waitpid(-1, nullptr, WNOHANG) == 0) fail("a process that it started runs on after destroy");
}

void leavesSettings(const Bench& bench) {
    makeFrame();  // which watches a signal of its own
    const std::string before = processSettings();
    live(bench);
    std::istringstream was(before), is(processSettings());
    for (std::string old, now; std::getline(was, old) && std::getline(is, now);)
        if (old != now) fail("it has changed " + old.substr(0, old.find('\t')));
}

void writesNoOutput(const Bench& bench) {
    LoadedModule module(bench);
    const int output = memfd_create("output", MFD_CLOEXEC);
    std::fflush(stdout);
    dup2(output, STDOUT_FILENO);
    module.prepare(reinterpret_cast<void*>(&onLog));
    sendSome(module);
    if (module.has("destroy")) module.destroy();
    std::fflush(stdout);
    const off_t written = lseek(output, 0, SEEK_END);
    if (written > 0)
        doubt("it writes to standard output (" + std::to_string(written) +
              " bytes), which is the host's: take a log function");
}

// Memory that comes once is no leak: what grows grows with nearly every life. What is counted exactly must
// not grow at all.
struct Leak {
    const char* what;
    std::ptrdiff_t (*measure)();
    bool isExact;
    std::ptrdiff_t first = 0, last = 0;
    int grown = 0;

    void look(int life) {
        const std::ptrdiff_t now = measure();
        if (life == WARM_UP) first = now;
        if (life > WARM_UP && now > last) ++grown;
        last = now;
    }

    void judge() const {
        constexpr int COUNTED = RELOADS - WARM_UP - 1;
        if (grown * 10 >= COUNTED * 9)
            fail("every reload leaves " + std::to_string((last - first) / COUNTED) + " " + what);
        if (isExact && !becomesTrue([this] { return measure() <= first; }, UNTIL_THE_SYSTEM_SEES_IT))
            fail(std::to_string(COUNTED) + " reloads leave " + std::to_string(measure() - first) + " " +
                 what);
    }
};

void leavesNothing(const Bench& bench) {
    Leak leaks[] = {{"descriptors", descriptorCount, true},
                    {"threads", threadCount, true},
                    {"bytes of memory", allocatedBytes, false},
                    {"pages of mappings", mappedPages, false}};
    for (int life = 0; life < RELOADS; ++life) {
        live(bench);
        for (Leak& leak : leaks) leak.look(life);
    }
    for (const Leak& leak : leaks) leak.judge();
    if (isMapped(bench.location.file))
        fail("its code stays mapped after " + std::to_string(RELOADS) + " reloads");
}

}  // namespace

std::vector<Check> removalChecks() {
    const std::string living =
        "id-constant threads processes frame-small frame-repeated unmapped destroy-first";
    return {
        {"frame-late", "A frame may still come after destroy.", WORKING + " destroy-first", bearsLateFrame},
        {"threads", "Its threads have ended when destroy returns.", WORKING + " destroy-first", endsThreads},
        {"processes", "It leaves no process behind.", WORKING + " destroy-first", endsProcesses},
        {"settings", "Working folder, locale, signals and rounding are as they were.", living,
         leavesSettings},
        {"standard-output", "It leaves standard output to the host.", living, writesNoOutput},
        {"removal-amid-frames", "A real engine removes it while its frames are running.",
         "engine-frames frame-late unmapped frame-calls", isRemovedAmidFrames},
        {"reload", "200 reloads leave no descriptor, thread, memory or mapping.", living + " frames-released",
         leavesNothing, 20},
    };
}
