// sharing.cpp - what a module does to frames that others see too, and how long it keeps them.
#include <algorithm>
#include <cstdlib>

#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/lumetra-inspect/trial/process_state.h"

namespace {

const std::vector<FrameShape> SHAPES = {
    {256, 192},
    {64, 33, LUMETRA_IMGFORMAT_GRAY8, Levels::None},  // its last byte lies at the fence
    {64, 33, LUMETRA_IMGFORMAT_BGRA, Levels::None},
    {64, 33, LUMETRA_IMGFORMAT_YUYV, Levels::None},
    {64, 32, LUMETRA_IMGFORMAT_RGB, Levels::None},
};

// With whatever it does later on threads of its own.
void sendAll(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    for (int round = 0; round < 3; ++round)
        for (const FrameShape& shape : SHAPES) module.notifyNewData(nextFrameId(), makeFrame(shape));
    if (module.has("command")) module.command(LUMETRA_CMD_MODULE_FIRST, "");
    if (module.has("destroy")) module.destroy();
}

void writesNothing(const Bench& bench) {
    sendAll(bench);
    if (const std::string written = pixelFaults().written; !written.empty())
        fail("it writes to pixels that it shares: " + written);
}

void staysInside(const Bench& bench) {
    sendAll(bench);
    if (const std::string outside = pixelFaults().outside; !outside.empty())
        fail("it accesses memory outside the pixel buffer: " + outside);
}

void leavesRecord(const Bench& bench) {
    LoadedModule module(bench);
    module.prepare();
    for (const FrameShape& shape : SHAPES) {
        const auto frame = makeFrame(shape);
        const IChnk before = *frame;
        unsigned char* levels[8];
        std::copy_n(frame->data->lvl, 8, levels);
        module.notifyNewData(nextFrameId(), frame);
        if (frame->width != before.width || frame->height != before.height || frame->size != before.size ||
            frame->format != before.format || frame->frameIndex != before.frameIndex)
            fail("it changes the numbers of a frame that it shares");
        if (frame->descriptor != before.descriptor)
            fail("it changes the descriptor of a frame that it shares");
        if (frame->data != before.data || !std::equal(levels, levels + 8, frame->data->lvl))
            fail("it replaces levels of a frame that it shares");
    }
}

// Sends that many and says how many of them still have an owner.
std::ptrdiff_t keptOf(LoadedModule& module, int count, const std::function<void()>& then) {
    std::vector<std::weak_ptr<IChnk::dPtr>> sent;
    for (int k = 0; k < count; ++k) {
        const auto frame = makeFrame({64, 48});
        sent.push_back(frame->data);
        module.notifyNewData(nextFrameId(), frame);
    }
    then();
    const auto kept = [&sent] {
        return std::count_if(sent.begin(), sent.end(), [](const auto& frame) { return !frame.expired(); });
    };
    becomesTrue([&] { return kept() <= count / 4; });  // threads of its own may need a moment
    return kept();
}

void keepsFew(const Bench& bench) {
    constexpr int FRAMES = 300, MOST_KEPT = 150;
    LoadedModule module(bench);
    module.prepare();
    const std::ptrdiff_t kept = keptOf(module, FRAMES, [] {});
    if (kept > MOST_KEPT)
        fail("it keeps " + std::to_string(kept) + " of " + std::to_string(FRAMES) +
             " frames, so that memory runs out");
}

void releasesAll(const Bench& bench) {
    constexpr int FRAMES = 3;
    LoadedModule module(bench);
    module.prepare();
    const std::ptrdiff_t kept = keptOf(module, FRAMES, [&] { module.remove(); });
    if (kept > 0) fail("it still keeps " + std::to_string(kept) + " frames after it was removed");
}

const ChildLines* linesAtExit = nullptr;

// A host that ends the engine and itself without removing its modules.
void survivesEngine(const Bench& bench) {
    linesAtExit = &bench.lines;
    std::atexit([] {  // before the module's own, so that it runs after them
        linesAtExit->tellFinished();
        _Exit(EXIT_SUCCESS);
    });
    const Engine engine;
    engine.initialize();
    const std::int32_t id = engine.registerModule(bench.location.file);
    bench.stage("LumetraCore_initializeDllByID");
    engine.initializeModule(id, bench.configuration);
    bench.stage("frames of an engine");
    engine.configure(LUMETRA_IMGFORMAT_GRAY8, LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID, true);
    engine.pushFrames(5);
    bench.stage("the end of the engine");
    engine.destroy();
    bench.stage("the end of the process, without a removal");
    std::exit(EXIT_SUCCESS);
}

}  // namespace

std::vector<Check> sharingChecks() {
    return {
        {"pixels-unwritten", "It does not write to the pixels of a frame.",
         WORKING + " destroy-first frame-formats frame-no-levels", writesNothing},
        {"pixels-inside", "It does not touch what lies beside the pixels.",
         WORKING + " destroy-first frame-formats frame-no-levels", staysInside},
        {"frame-record", "It leaves size, descriptor and levels of a frame as they are.",
         "frame-formats frame-no-levels", leavesRecord},
        {"frames-bounded", "It does not keep ever more frames.", WORKING, keepsFew},
        {"frames-released", "No frame is left once it was removed.",
         WORKING + " destroy-first unmapped threads", releasesAll},
        {"engine-gone", "It may hold frames and be unloaded after the engine has been destroyed.",
         "engine-frames", survivesEngine},
    };
}
