// FrameMonitor_test.cpp - the module as hosts load it: the real library, called by its entry points.
#include "plugins/FrameMonitor/FrameMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "LumetraCore/PGM_FUNCTIONS.h"
#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"
#include "tests/support/temporary_folder.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

std::uint64_t nowMs() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
}

class FrameMonitor : public testing::Test, protected LoadedModule {
protected:
    FrameMonitor() : LoadedModule(FRAMEMONITOR_LIBRARY) {}

    json report() {
        EXPECT_EQ(1, send(FRAMEMONITOR_CMD_REPORT));
        return json::parse(lines().back());
    }
};

std::shared_ptr<IChnk> greyChunk(int width, int height, const Bytes& pixels, int frame,
                                 const std::string& descriptor = "{}", bool levels = false) {
    auto chunk = chunkOf(width, height, LUMETRA_IMGFORMAT_GRAY8, pixels);
    chunk->frameIndex = frame;
    chunk->descriptor = descriptor;
    if (levels) layOutGreyLevels(*chunk);
    return chunk;
}

TEST_F(FrameMonitor, TellsDuplicatesFromDistinctFrames) {
    for (const int frame : {5, 6, 6, -1, 5, 4096 + 7}) notify(nowMs(), greyChunk(2, 2, {1, 2, 3, 4}, frame));
    json document = report();
    EXPECT_EQ(6, document["frames"]);
    EXPECT_EQ(4, document["distinct"]);
    EXPECT_EQ(2, document["duplicates"]);
    EXPECT_EQ(4, send(FRAMEMONITOR_CMD_COUNT));
    EXPECT_EQ(2, send(FRAMEMONITOR_CMD_COUNT, "6"));
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_COUNT, "0"));
}

TEST_F(FrameMonitor, MeasuresGreyOfTheNewestFrameAndOfAllThatWereMeasured) {
    const std::uint64_t time = nowMs();
    notify(time, greyChunk(5, 1, {0, 10, 20, 30, 40}, 2));
    notify(time - 1, greyChunk(5, 1, {100, 100, 100, 100, 100}, 1));  // arrives late
    json document = report();
    EXPECT_EQ(1, document["measured"]) << "the other one was overtaken";
    EXPECT_EQ(20, document["mean"]);
    json& newest = document["newest"];
    EXPECT_EQ(2, newest["frame"]);
    EXPECT_EQ(20, newest["mean"]);
    json& bins = newest["histogram"];
    ASSERT_EQ(256u, bins.size());
    for (unsigned grey = 0; grey < 256; ++grey) EXPECT_EQ(grey % 10 == 0 && grey <= 40 ? 1 : 0, bins[grey]);

    configure(R"({"histogram":false})");
    notify(time + 1, greyChunk(2, 1, {7, 8}, 3));
    document = report();
    EXPECT_EQ((20 + 7.5) / 2, document["mean"]);
    json& plain = document["newest"];
    EXPECT_EQ(7.5, plain["mean"]);
    EXPECT_FALSE(plain.contains("histogram"));
}

TEST_F(FrameMonitor, GoesOnWithNewerFramesAfterTheClockWasSetBack) {
    const TemporaryFolder folder;
    const std::uint64_t time = nowMs();
    notify(time, greyChunk(1, 1, {10}, 1));
    notify(time - 3'600'000, greyChunk(2, 1, {20, 20}, 2));
    notify(time - 3'600'000 - 1, greyChunk(3, 1, {30, 30, 30}, 3));  // overtaken
    EXPECT_EQ(2, report()["newest"]["frame"]);
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_SNAPSHOT, folder.file("frame").c_str()));
    EXPECT_EQ("P5\n2 1\n255\n\x14\x14", folder.read("frame_lvl_0.pgm"));
}

TEST_F(FrameMonitor, TakesThePushTimeFromTheDescriptorOrElseFromTheChunk) {
    const auto median = [this](std::uint64_t id, const std::string& descriptor) {
        send(FRAMEMONITOR_CMD_RESET);
        notify(id, greyChunk(1, 1, {0}, 0, descriptor));
        return report()["latencyUs"]["median"].get<std::int64_t>();
    };
    const std::uint64_t time = nowMs();
    constexpr std::int64_t HOUR = 3'600'000'000;
    const std::string anHourAgo = std::to_string(static_cast<std::int64_t>(time) * 1000 - HOUR);
    EXPECT_GE(median(time, "{\"timestampUs\":" + anHourAgo + "}"), HOUR);
    const std::string useless[] = {"",
                                   "no JSON",
                                   "[1]",
                                   "{\"timestampUs\":\"" + anHourAgo + "\"}",
                                   "{\"timestampUs\":-9223372036854775808}",
                                   "{\"timestampUs\":1.5}",
                                   std::string(1'000'000, '[')};
    for (const std::string& descriptor : useless) {
        const std::int64_t latency = median(time - 2 * 3'600'000, descriptor);
        EXPECT_GE(latency, 2 * HOUR) << descriptor.substr(0, 50);
        EXPECT_LT(latency, 3 * HOUR) << descriptor.substr(0, 50);
    }
}

TEST_F(FrameMonitor, DigestsEveryLevelThatLiesInTheBuffer) {
    configure(R"({"digest":true})");
    // 4x2 pixels and a level of 2x1 behind them; all smaller levels are empty.
    notify(nowMs(), greyChunk(4, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 12, "{}", true));
    json document = json::parse(lines().at(0));
    EXPECT_EQ(12, document["frame"]);
    json& digests = document["digests"];
    ASSERT_EQ(8u, digests.size());
    const std::string empty = "cbf29ce484222325";
    EXPECT_NE(digests[0], empty);
    EXPECT_NE(digests[1], empty);
    for (unsigned k = 2; k < 8; ++k) EXPECT_EQ(empty, digests[k]);

    const auto outside = greyChunk(4, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 13, "{}", true);
    outside->data->lvl[1] += 1;  // reaches one byte beyond the buffer
    outside->data->lvl[2] = outside->data->lvl[0] - 1;
    outside->data->lvl[3] = nullptr;
    notify(nowMs(), outside);
    EXPECT_THAT(lines().at(1), HasSubstr(std::string("\",null,null,null,\"") + empty));

    notify(nowMs(), greyChunk(4, 1, {0, 10, 20, 30}, 14));
    EXPECT_THAT(lines().at(2), HasSubstr("[\"37dcbb0ada999870\",null,null,null,null,null,null,null]"));
}

TEST_F(FrameMonitor, CountsWhatItCannotLookInto) {
    const auto broken = [](auto change) {
        auto chunk = greyChunk(2, 2, {1, 2, 3, 4}, 0);
        change(*chunk);
        return chunk;
    };
    configure(R"({"digest":true})");
    const std::shared_ptr<IChnk> chunks[] = {
        broken([](IChnk& chunk) { chunk.format = LUMETRA_IMGFORMAT_RGB; }),
        broken([](IChnk& chunk) { chunk.size = 3; }),
        broken([](IChnk& chunk) { chunk.width = 0x7fffffff; }),
        broken([](IChnk& chunk) { chunk.height = -2; }),
        broken([](IChnk& chunk) { chunk.data = nullptr; }),
        std::make_shared<IChnk>(2, 2, LUMETRA_IMGFORMAT_GRAY8, 0, "{}"),
    };
    for (const auto& chunk : chunks) notify(nowMs(), chunk);
    json document = report();
    EXPECT_EQ(std::ssize(chunks), document["frames"]);
    EXPECT_EQ(std::ssize(chunks), document["unread"]);
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_SNAPSHOT, "/nowhere/frame"));
    notify(0, nullptr);
}

TEST_F(FrameMonitor, WritesTheNewestLevelsAsFilesThatTheLibraryReads) {
    const TemporaryFolder folder;
    const std::uint64_t time = nowMs();
    notify(time, greyChunk(4, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 1, "{}", true));
    notify(time - 5, greyChunk(1, 1, {77}, 0));
    EXPECT_EQ(2, send(FRAMEMONITOR_CMD_SNAPSHOT, folder.file("frame").c_str()));
    int width = 0, height = 0;
    const std::unique_ptr<unsigned char, decltype(&std::free)> level(
        read_pgm(folder.file("frame_lvl_1.pgm").c_str(), &width, &height), &std::free);
    ASSERT_NE(nullptr, level);
    EXPECT_EQ(2, width);
    EXPECT_EQ(1, height);
    EXPECT_EQ(9, level.get()[0]);
    EXPECT_EQ(10, level.get()[1]);
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_SNAPSHOT, folder.file("missing/frame").c_str()));
}

TEST_F(FrameMonitor, SendsReportsToTheFileTheLogOrBoth) {
    const TemporaryFolder folder;
    notify(nowMs(), greyChunk(1, 1, {9}, 0));
    configure((R"({"reportFile":")" + folder.file("report.json") + "\"}").c_str());
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_REPORT));
    EXPECT_EQ(lines().back() + "\n", folder.read("report.json"));
    unsetCallback(CB_LOG);
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_REPORT));
    configure((R"({"reportFile":")" + folder.file("missing/report.json") + "\"}").c_str());
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_REPORT));
    configure("{}");
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_REPORT));
    EXPECT_EQ(1u, lines().size());
}

TEST_F(FrameMonitor, ReadsAnyConfigurationTextAndTakesWrongTypesForMissing) {
    const std::string texts[] = {"",
                                 "{",
                                 "[]",
                                 "null",
                                 R"({"reportFile":7,"histogram":1,"digest":"true"})",
                                 std::string(2'000'000, '['),
                                 "{\"digest\":" + std::string(2'000'000, '{'),
                                 "\xff\xfe",
                                 R"({"reportFile":"\ud800"})"};
    for (const std::string& text : texts) {
        configure(text.c_str());
        clearLines();
        notify(nowMs(), greyChunk(1, 1, {9}, 0));
        EXPECT_TRUE(lines().empty()) << text.substr(0, 50);
        EXPECT_EQ(1, send(FRAMEMONITOR_CMD_REPORT));
        EXPECT_THAT(lines().back(), HasSubstr("histogram")) << text.substr(0, 50);
    }
}

TEST_F(FrameMonitor, WritesItsLinesAsDocumented) {
    configure(R"({"digest":true})");
    notify(nowMs(), greyChunk(2, 1, {7, 8}, 3, R"({"timestampUs":1})"));
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_REPORT));
    EXPECT_THAT(lines().at(0),
                MatchesRegex(R"(\{"frameMonitor":"frame","frame":3,"width":2,"height":1,)"
                             R"("digests":\["[0-9a-f]{16}",null,null,null,null,null,null,null\]\})"));
    EXPECT_THAT(
        lines().at(1),
        MatchesRegex(
            R"(\{"frameMonitor":"report","frames":1,"distinct":1,"duplicates":0,"unread":0,"measured":1,)"
            R"("fps":0\.0,"recentFps":1,"latencyUs":\{"count":1,"median":[0-9]+,)"
            R"("p99":[0-9]+,"max":[0-9]+\},"mean":7\.5,)"
            R"("newest":\{"frame":3,"width":2,"height":1,"mean":7\.5,)"
            R"("histogram":\[0,0,0,0,0,0,0,1,1(,0){247}\]\}\})"));
}

TEST_F(FrameMonitor, PausesResumesAndForgets) {
    EXPECT_EQ(FRAMEMONITOR_STATUS_IDLE, status());
    EXPECT_EQ(1, send(LUMETRA_CMD_STOP));
    EXPECT_EQ(FRAMEMONITOR_STATUS_PAUSED, status());
    notify(nowMs(), greyChunk(1, 1, {9}, 0));
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_COUNT));
    EXPECT_EQ(1, send(LUMETRA_CMD_START));
    notify(nowMs(), greyChunk(1, 1, {9}, 0));
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_COUNT));
    EXPECT_EQ(1, send(FRAMEMONITOR_CMD_RESET));
    EXPECT_EQ(0, send(FRAMEMONITOR_CMD_COUNT));
    EXPECT_EQ(FRAMEMONITOR_STATUS_IDLE, status());
    EXPECT_EQ(0, send(LUMETRA_CMD_MODULE_FIRST + 999));
}

TEST_F(FrameMonitor, KeepsCountWhileCallsOverlapAndTheLogComesAndGoes) {
    constexpr int THREADS = 4, FRAMES = 200;
    configure(R"({"digest":true})");
    std::vector<std::thread> workers;
    for (int t = 0; t < THREADS; ++t)
        workers.emplace_back([&, t] {
            for (int k = 0; k < FRAMES; ++k) notify(nowMs(), greyChunk(4, 4, Bytes(16, 3), t * FRAMES + k));
        });
    for (int k = 0; k < 50; ++k) {
        send(FRAMEMONITOR_CMD_REPORT);
        unsetCallback(CB_LOG);
        const std::size_t before = lines().size();
        std::this_thread::yield();
        EXPECT_EQ(before, lines().size()) << "called after it was taken back";
        setLog();
    }
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(THREADS * FRAMES, send(FRAMEMONITOR_CMD_COUNT));
}

TEST_F(FrameMonitor, IsUnmappedWhenItIsClosed) {
    notify(nowMs(), greyChunk(1, 1, {9}, 0, R"({"timestampUs":1})"));
    report();
    unload();
    EXPECT_EQ(nullptr, dlopen(FRAMEMONITOR_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
}

}  // namespace
