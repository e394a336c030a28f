// frames.cpp - frames of every shape, in every order, by themselves and at the same time.
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <initializer_list>
#include <thread>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/lumetra-inspect/trial/texts.h"

namespace {

constexpr std::uint64_t HOUR_MS = 3600 * 1000;

void send(const Bench& bench, const std::vector<FrameShape>& shapes) {
    LoadedModule module(bench);
    module.prepare();
    for (const FrameShape& shape : shapes) module.notifyNewData(nextFrameId(), makeFrame(shape));
    module.notifyNewData(nextFrameId(), makeFrame());  // it goes on
}

void everyFormat(const Bench& bench) {
    std::vector<FrameShape> shapes;
    for (std::int32_t format = LUMETRA_IMGFORMAT_RGB; format <= LUMETRA_IMGFORMAT_GRAY8; ++format)
        for (const Levels levels : {Levels::All, Levels::None})
            if (format != LUMETRA_IMGFORMAT_RESERVED6) shapes.push_back({256, 192, format, levels});
    send(bench, shapes);
}

void oddSizes(const Bench& bench) {
    send(bench, {{129, 131}, {255, 129}, {641, 479}, {1283, 129}, {131, 1021}});
}

void hugeFrame(const Bench& bench) {
    send(bench, {{4096, 4096}, {16384, 256}});
}

void emptyLevels(const Bench& bench) {
    send(bench, {{1, 1}, {3, 2}, {1, 100}, {200, 1}, {64, 48}});
}

void noLevels(const Bench& bench) {
    const std::int32_t grey = LUMETRA_IMGFORMAT_GRAY8;
    send(bench, {{256, 192, grey, Levels::None}, {640, 480, grey, Levels::None}});
}

void noPixels(const Bench& bench) {
    std::vector<FrameShape> shapes;
    for (const std::int32_t format : {0, 6, -1, INT_MIN}) shapes.push_back({256, 192, format});
    send(bench, shapes);
}

void descriptors(const Bench& bench) {
    std::vector<FrameShape> shapes;
    for (const std::string& text : brokenTexts(bench.seed)) shapes.push_back({.descriptor = text});
    shapes.push_back({.descriptor = std::string("a\0b\0", 4)});
    send(bench, shapes);
}

void strangeIds(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    const std::uint64_t now = nextFrameId();
    for (const std::uint64_t id :
         {now, now - HOUR_MS, std::uint64_t{0}, std::uint64_t{1}, now + 100000 * HOUR_MS,
          std::uint64_t{INT64_MAX} + 1, UINT64_MAX, now - 2 * HOUR_MS, UINT64_MAX - 1, now + HOUR_MS})
        module.notifyNewData(id, makeFrame());
}

void sameFrameTwice(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    const std::uint64_t id = nextFrameId();
    const auto frame = makeFrame();
    module.notifyNewData(id, frame);
    module.notifyNewData(id, frame);
    module.notifyNewData(id, makeFrame());
}

void overtaking(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    const std::uint64_t base = nextFrameId() + 100;
    for (const std::uint64_t step : std::initializer_list<std::uint64_t>{10, 8, 9, 30, 20, 25, 0, 31})
        module.notifyNewData(base + step, makeFrame());
}

void overlapping(const Bench& bench) {
    constexpr int THREADS = 3, FRAMES = 20;
    LoadedModule module(bench);
    module.prepare();
    inThreads(THREADS, [&](int) {
        for (int k = 0; k < FRAMES; ++k) module.notifyNewData(nextFrameId(), makeFrame());
    });
}

void call(LoadedModule& module, int k, const std::string& configuration) {
    if (module.has("getStatus")) module.getStatus();
    if (module.has("command")) module.command(k % 2 == 0 ? LUMETRA_CMD_STOP : LUMETRA_CMD_START, "");
    if (module.has("command")) module.command(LUMETRA_CMD_MODULE_FIRST + k % 4, "");
    if (k % 8 == 0 && module.has("initialize")) module.initialize(configuration);
}

// As long as both threads need for their share, so that they overlap on one processor, too; beyond its own
// share each goes slowly, or a slow module would be called without end.
void callsAmidFrames(const Bench& bench) {
    constexpr int CALLS = 24, FRAMES = 20;
    LoadedModule module(bench);
    module.prepare();
    std::atomic<int> callers{1}, senders{1};
    inThreads(2, [&](int thread) {
        if (thread == 0) {
            for (int k = 0; k < FRAMES || callers > 0; ++k) {
                module.notifyNewData(nextFrameId(), makeFrame());
                if (k >= FRAMES) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            senders = 0;
        } else {
            for (int k = 0; k < CALLS || senders > 0; ++k) {
                call(module, k, bench.configuration);
                if (k < CALLS) continue;
                callers = 0;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
    });
}

void framesOfEngine(const Bench& bench) {
    const LoadedModule module(bench);
    if (!module.has("notifyNewData")) skip("it has no notifyNewData");
    const Engine engine;
    engine.initialize();
    const std::int32_t id = engine.registerModule(bench.location.file);
    engine.initializeModule(id, bench.configuration);
    for (std::int32_t format = LUMETRA_IMGFORMAT_RGB; format <= LUMETRA_IMGFORMAT_GRAY8; ++format)
        for (const int flags : {LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID, 0}) {
            bench.stage("frames of an engine, format " + std::to_string(format) + ", conversion flags " +
                        std::to_string(flags));
            engine.configure(format, flags, format % 2 == 0);
            engine.pushFrames(3);
        }
    engine.destroy();
}

}  // namespace

std::vector<Check> frameChecks() {
    return {
        {"frame-formats", "Frames come in every format.", WORKING + " frame-no-levels", everyFormat},
        {"frame-odd", "Frames have odd sizes.", WORKING, oddSizes},
        {"frame-huge", "Frames are huge: 16 megapixels, 16384 in a row.", WORKING, hugeFrame},
        {"frame-small", "Frames are small, down to 1x1, and their levels empty.", WORKING, emptyLevels},
        {"frame-no-levels", "Frames have no levels but the first.", WORKING, noLevels},
        {"frame-no-pixels", "Frames have no pixels at all.", WORKING, noPixels},
        {"frame-descriptors", "Descriptors are broken, deep, long.", WORKING, descriptors},
        {"frame-ids", "Ids are 0, long ago, far ahead, the greatest, and back again.", WORKING, strangeIds},
        {"frame-repeated", "The same frame comes twice, and another under its id.", WORKING, sameFrameTwice},
        {"frame-order", "Frames overtake each other.", WORKING, overtaking},
        {"frame-overlap", "Frames come on several threads at once.", WORKING + " frame-order", overlapping},
        {"frame-calls", "Commands, configurations and questions come amid frames.",
         WORKING + " initialize-twice status-first "
                   "command-numbers",
         callsAmidFrames},
        {"engine-frames", "Frames of a real engine come on its workers.",
         "registration frame-overlap frame-formats frame-no-levels frame-no-pixels frame-repeated threads",
         framesOfEngine},
    };
}
