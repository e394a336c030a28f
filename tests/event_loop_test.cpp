// The engine's loop and its end, watched from outside. Messages that no host can post come from the test.
#include <gmock/gmock.h>

#include <future>

#include "base/clock.h"
#include "base/process_wide.h"
#include "core/load_limits.h"
#include "image/push_gate.h"
#include "tests/modules/recorder.h"
#include "tests/support/configurations.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/waiting.h"

using namespace lumetra;

using testing::ElementsAre;
using testing::IsEmpty;

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

constexpr int GRAY_FLIP_DUMP = 13;

class EventLoop : public testing::Test {
protected:
    EventLoop() { engine.registerDllByName("Recorder"); }
    ~EventLoop() override { engine.unregisterDllByID(7); }

    // Files a grey frame of one pixel above another, 1 and 2. Returns the first of them as it is when the
    // frame is dropped.
    std::future<int> file(std::uint64_t id) {
        const auto chunk = chunkOf(1, 2, LUMETRA_IMGFORMAT_GRAY8, {1, 2});
        const auto first = std::make_shared<std::promise<int>>();
        chunk->data = std::shared_ptr<IChnk::dPtr>(
            chunk->data.get(), [pixels = chunk->data, first](auto*) { first->set_value(pixels->lvl[0][0]); });
        EngineProbe::chunks(engine).store(id, chunk);
        return first->get_future();
    }
    void post(std::int32_t type, std::uint64_t id) { EngineProbe::messages(engine).post({type, id}); }

    LumetraCoreExecutor engine;
    const std::uint64_t now = currentTimeMs();
};

}  // namespace

TEST_F(EventLoop, DropsFramesThatAreNotFreshAndConvertsThoseThatMayBecomeSoOrAreDumped) {
    const TemporaryFolder folder;
    const std::uint64_t past = now - 100, longPast = now - 5000, future = now + 60'000;
    const struct {
        std::int32_t type;
        std::uint64_t id;
        int flags, firstPixel;
    } cases[] = {
        {MSG_NOTIFY, past, 5, 1},
        {MSG_NOTIFY, future, 5, 1},
        {MSG_RETAIN, past, 5, 1},
        {MSG_RETAIN, future, 5, 1},
        {MSG_CONVERT, longPast, 5, 1},
        {MSG_CONVERT, future, 5, 2},
        {MSG_CONVERT, longPast, GRAY_FLIP_DUMP, 2},
    };
    for (const auto& [type, id, flags, firstPixel] : cases) {
        engine.configure(("{\"conversionflags\":" + std::to_string(flags) + R"(,"writablepath":")" +
                          folder.file("") + "\"}")
                             .c_str());
        std::future<int> dropped = file(id);
        std::promise<void> gate;  // workers have no time until the loop has looked for pixels to drop
        const auto opened = gate.get_future().share();
        for (std::uint32_t i = 0; i < workerCount(std::thread::hardware_concurrency()); ++i)
            EngineProbe::pool(engine).enqueue([opened] { opened.wait(); });
        post(type, id);
        waitUntil([this] { return EngineProbe::messages(engine).copy().empty(); });
        gate.set_value();
        EXPECT_EQ(firstPixel, dropped.get()) << "message " << type << ", " << now - id << " ms old";
    }
    EXPECT_EQ("P5\n#debug\n1 2\n255\n\2\1", folder.read("dbg_0_lvl_0.pgm"));
    EXPECT_THAT(recorder("Recorder")->takeNotifications(), IsEmpty());
}

TEST_F(EventLoop, PassesOverUnknownKindsAndMissingFrames) {
    std::future<int> kept = file(now);
    for (const int type : {0, 4, -1}) post(type, now);
    for (const int type : {MSG_NOTIFY, MSG_CONVERT, MSG_RETAIN}) post(type, now - 5000);
    std::future<int> dropped = file(now - 100);
    post(MSG_RETAIN, now - 100);
    dropped.get();
    waitUntil([this] { return EngineProbe::chunks(engine).copy().size() == 1; });
    EXPECT_EQ(std::future_status::timeout, kept.wait_for(std::chrono::seconds(0)));
}

TEST_F(EventLoop, DropsADeliveredFrameAboutAHundredMillisecondsAfterItsPush) {
    engine.configure(configurationText(1, 1, 7).c_str());
    const unsigned char pixel = 9;
    std::vector<Notification> notifications;
    repeatUntil([&] { engine.pushImageData(&pixel, 1, "", 0); },
                [&] { return !(notifications = recorder("Recorder")->takeNotifications()).empty(); });
    const std::uint64_t pushed = notifications.back().id;
    const std::weak_ptr<IChnk> chunk = notifications.back().chunk;
    notifications.clear();
    waitUntil([&] { return chunk.expired(); });
    EXPECT_GT(currentTimeMs(), pushed + 99);
    waitUntil([&] { return EngineProbe::messages(engine).copy().empty(); });
}

TEST(Engine, LetsQueuedWorkNotifyModulesAtItsVeryEnd) {
    auto engine = std::make_unique<LumetraCoreExecutor>();
    ASSERT_EQ(5, engine->registerDllByName("IdFive"));
    ASSERT_EQ(7, engine->registerDllByName("Recorder"));
    const LogCapture log(*engine);
    EngineProbe::pool(*engine).enqueue([dying = engine.get()] {  // what a module's push at the end comes to
        while (PushGate::Visit(processWide<PushGate>(), dying)) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // until all that is left is this
        ChunkStore& chunks = EngineProbe::chunks(*dying);
        chunks.store(77, chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9}));
        ChunkStore::Conversion(chunks, 77).pixelsAreDone();
        EngineProbe::notify(*dying, 77);
    });
    engine.reset();
    EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: notifyNewData function not available!"));
    for (const char* const name : {"IdFive", "Recorder"}) {
        EXPECT_TRUE(isMapped(name)) << "an engine leaves its libraries open";
        closeForGood(name);
    }
}
