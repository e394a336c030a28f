#include <gmock/gmock.h>

#include <future>

#include "base/clock.h"
#include "core/load_limits.h"
#include "tests/modules/recorder.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

using namespace lumetra;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(FrameTiming, CallsAFrameFreshUpTo99MillisecondsAndNeverInTheFuture) {
    const std::uint64_t now = 1'700'000'000'000;
    EXPECT_TRUE(isFresh(now, now));
    EXPECT_TRUE(isFresh(now, now - 99));
    EXPECT_FALSE(isFresh(now, now - 100));
    EXPECT_FALSE(isFresh(now, now + 1));
    EXPECT_FALSE(isFresh(now, 0));
}

TEST(FrameTiming, LeavesOneProcessorToTheHostButKeepsTwoWorkers) {
    EXPECT_EQ(2U, workerCount(1));
    EXPECT_EQ(2U, workerCount(3));
    EXPECT_EQ(3U, workerCount(4));
    EXPECT_EQ(4294967295U, workerCount(0));
}

namespace {

class EventLoop : public testing::Test {
protected:
    EventLoop() { EngineProbe::stopLoop(engine); }

    // Posts one message for a stored chunk, takes one turn and runs what that queued.
    void handle(int type, std::uint64_t id) {
        EngineProbe::store(engine, id, chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9}));
        EngineProbe::post(engine, type, id);
        EngineProbe::runTurn(engine);
        EngineProbe::drainPool(engine);
    }
    // The same for a frame of this moment; again if the machine let it grow old meanwhile.
    std::uint64_t handleFresh(int type) {
        for (;;) {
            const std::uint64_t id = currentTimeMs();
            handle(type, id);
            if (currentTimeMs() <= id + 99) return id;
            while (!EngineProbe::messages(engine).empty()) EngineProbe::runTurn(engine);
        }
    }
    bool isStored(std::uint64_t id) { return EngineProbe::chunks(engine).count(id) == 1; }

    LumetraCoreExecutor engine;
    const std::uint64_t now = currentTimeMs();
};

}  // namespace

TEST_F(EventLoop, NotifiesAboutFreshFramesAndDropsOthers) {
    for (const std::uint64_t id : {now - 100, now + 60'000}) {
        handle(1, id);
        EXPECT_FALSE(isStored(id));
        EXPECT_THAT(EngineProbe::messages(engine), IsEmpty());
    }
    const std::uint64_t id = handleFresh(1);
    EXPECT_TRUE(isStored(id));
    EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(Pair(3, id)));
}

TEST_F(EventLoop, RetainsFreshFramesAndDropsOthers) {
    const std::uint64_t id = handleFresh(3);
    EXPECT_TRUE(isStored(id));
    EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(Pair(3, id)));
    waitUntil([&] { return currentTimeMs() > id + 99; });
    EngineProbe::runTurn(engine);
    EXPECT_FALSE(isStored(id));
    EXPECT_THAT(EngineProbe::messages(engine), IsEmpty());
    handle(3, now + 60'000);
    EXPECT_FALSE(isStored(now + 60'000));
}

TEST_F(EventLoop, ConvertsFramesOfAnyAge) {
    for (const std::uint64_t id : {now - 5000, now + 60'000}) {
        handle(2, id);
        EXPECT_TRUE(isStored(id));
        EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(Pair(1, id)));
        EngineProbe::runTurn(engine);
    }
}

TEST_F(EventLoop, DropsUnknownKindsAndMissingFrames) {
    for (const int type : {0, 4, -1}) {
        handle(type, now);
        EXPECT_TRUE(isStored(now));
        EXPECT_THAT(EngineProbe::messages(engine), IsEmpty());
    }
    EngineProbe::post(engine, 3, now - 5000);
    EngineProbe::post(engine, 1, now - 5000);
    EngineProbe::runTurn(engine);
    EngineProbe::runTurn(engine);
    EngineProbe::runTurn(engine);
    EXPECT_THAT(EngineProbe::messages(engine), IsEmpty());
}

TEST_F(EventLoop, HandlesOneMessageATurnInTheirOrder) {
    EngineProbe::post(engine, 4, now);
    EngineProbe::post(engine, 0, now);
    EngineProbe::post(engine, 3, now);
    EngineProbe::runTurn(engine);
    EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(Pair(0, now), Pair(3, now)));
}

TEST(Engine, LetsAFrameGoAboutAHundredMillisecondsAfterItsPush) {
    LumetraCoreExecutor engine;
    engine.configure(R"({"imageCfg":{"width":1,"height":1},"format":7})");
    const unsigned char pixel = 9;
    auto chunks = EngineProbe::chunks(engine);
    while (chunks.empty()) {  // again if the machine let it grow old before it was seen
        engine.pushImageData(&pixel, 1, "", 0);
        chunks = EngineProbe::chunks(engine);
    }
    const std::weak_ptr<IChnk> chunk = chunks.rbegin()->second;
    const std::uint64_t pushed = chunks.rbegin()->first;
    chunks.clear();
    waitUntil([&] { return chunk.expired(); });
    EXPECT_GT(currentTimeMs(), pushed + 99);
    EXPECT_THAT(EngineProbe::messages(engine), IsEmpty());
}

TEST(Engine, RunsWhatIsStillQueuedAtItsEndWhileItsTablesAreAlive) {
    auto engine = std::make_unique<LumetraCoreExecutor>();
    ASSERT_EQ(5, engine->registerDllByName("IdFive"));
    const LogCapture log(*engine);
    std::promise<void> gate;
    EngineProbe::occupyWorkers(*engine, gate.get_future().share());
    for (const int type : {1, 2}) EngineProbe::post(*engine, type, currentTimeMs());
    waitUntil([&] { return EngineProbe::messages(*engine).empty(); });

    std::thread opener([&] {
        waitUntil([&] { return !EngineProbe::isRunning(*engine); });
        gate.set_value();
    });
    LumetraCoreExecutor* const dying = engine.get();
    dying->~LumetraCoreExecutor();
    opener.join();
    ::operator delete(engine.release());
    EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: notifyNewData function not available!"));
}

TEST(Engine, LetsQueuedWorkNotifyModulesAtItsVeryEnd) {
    ASSERT_EQ(nullptr, recorder("Recorder"));
    auto engine = std::make_unique<LumetraCoreExecutor>();
    ASSERT_EQ(7, engine->registerDllByName("Recorder"));
    std::promise<void> gate;
    EngineProbe::occupyWorkers(*engine, gate.get_future().share());
    LumetraCoreExecutor* const dying = engine.get();
    EngineProbe::enqueue(*engine, [dying] {  // what a module's push from its last notification comes to
        EngineProbe::storeConverted(*dying, 77, chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9}));
        EngineProbe::notify(*dying, 77);
    });
    std::thread opener([&] {
        waitUntil([&] { return !EngineProbe::isRunning(*dying); });
        gate.set_value();
    });
    dying->~LumetraCoreExecutor();
    opener.join();
    ::operator delete(engine.release());
    EXPECT_TRUE(isMapped("Recorder")) << "an engine leaves its libraries open";
    void* const handle = dlopen("Recorder.framework/Recorder", RTLD_LAZY | RTLD_NOLOAD);
    dlclose(handle);
    dlclose(handle);  // the engine's own
}
