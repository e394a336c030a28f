// run_time.cpp - how long a module keeps a worker of the engine for a frame.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"

void measureRunTime(const Bench& bench) {
    using Clock = std::chrono::steady_clock;
    constexpr std::size_t FRAMES = 200;
    LoadedModule module(bench);
    const auto notify = reinterpret_cast<decltype(&::notifyNewData)>(module.address("notifyNewData"));
    if (notify == nullptr) return;
    module.prepare();
    std::vector<double> microseconds;
    const auto frame = makeFrame({640, 480});
    for (std::size_t k = 0; k < FRAMES; ++k) {
        const std::uint64_t id = nextFrameId();
        const auto begin = Clock::now();
        notify(id, frame);
        microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    std::sort(microseconds.begin(), microseconds.end());
    char text[120];
    std::snprintf(text, sizeof text, "%.1f %.1f %zu", microseconds[FRAMES / 2],
                  microseconds[FRAMES * 99 / 100 - 1], FRAMES);
    bench.lines.tell("figure", text);
}
