// options_test.cpp - the command line, its small languages, and the plain decisions of a play.
#include "tools/lumetra-play/run/options.h"

#include <gtest/gtest.h>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/pacer.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/summary.h"

namespace {

TEST(Options, ReadFlagsAsNumbersOrNames) {
    EXPECT_EQ(0, parseFlags("0"));
    EXPECT_EQ(15, parseFlags("15"));
    EXPECT_EQ(3, parseFlags("pyramid,gray"));
    EXPECT_EQ(12, parseFlags("flip,dump,flip"));
    for (const char* text : {"", "16", "-1", "gray,", ",gray", "grey", "gray pyramid", "3x", "99999999999"})
        EXPECT_THROW(parseFlags(text), PlayError) << text;
}

TEST(Options, RefuseSizesAndModulesThatAreNone) {
    EXPECT_EQ(640, parseSize("640x480").width);
    for (const char* text : {"", "640", "x", "640x", "x480", "640x480x3", "640X480", "6.4x4", "640x 480"})
        EXPECT_THROW(parseSize(text), PlayError) << text;
    EXPECT_EQ("a=b", parseModule("Name=a=b").configuration);
    EXPECT_EQ("", parseModule("Name=").configuration);
    EXPECT_FALSE(parseModule("Name").configuration);
    for (const char* text : {"", "=x", "../Name", "FrameMonitor", "FrameMonitor={}"})
        EXPECT_THROW(parseModule(text), PlayError) << text;
}

TEST(Options, TellWhatWasGivenFromWhatWasNot) {
    const char* const line[] = {
        "lumetra-play", "--no-pyramid", "--module", "A=1", "--module", "B", "-", "--fps", "0"};
    const auto options = parseOptions(static_cast<int>(std::size(line)), line);
    ASSERT_TRUE(options);
    EXPECT_EQ(false, options->pyramid);
    EXPECT_EQ(0.0, options->framesPerSecond);
    EXPECT_FALSE(options->frames);
    EXPECT_EQ(std::vector<std::string>{"-"}, options->inputs);
    ASSERT_EQ(2u, options->modules.size());
    EXPECT_EQ("B", options->modules[1].name);
}

TEST(Options, TakeAPortForTheViewOrAny) {
    const auto portOf = [](const char* option) {
        const char* const line[] = {"lumetra-play", option, "clip.y4m"};
        const auto options = parseOptions(static_cast<int>(std::size(line)), line);
        EXPECT_EQ(std::vector<std::string>{"clip.y4m"}, options->inputs);
        return options->viewPort;
    };
    EXPECT_EQ(0, portOf("--view"));
    EXPECT_EQ(8080, portOf("--view=8080"));
    EXPECT_EQ(std::nullopt, portOf("--loop"));
    for (const char* option : {"--view=x", "--view=-1", "--view=65536", "--view=80x"})
        EXPECT_THROW(portOf(option), PlayError) << option;
}

TEST(EngineSettings, BecomeEveryKeyWithThePathQuoted) {
    EXPECT_EQ(R"({"imageCfg":{"width":4,"height":3},"mipMap":true,"format":5,"conversionflags":3,)"
              R"("forwardNativeImage":false,"writablepath":"/a \"b\""})",
              configurationText({{LUMETRA_IMGFORMAT_BGR, 4, 3}, 3, true, "/a \"b\""}));
}

TEST(Text, ReplacesWhatIsNotValidAndKeepsTheRest) {
    const std::string all = "a\u00e4\u20ac\U0001f3a5";
    EXPECT_EQ(u"a\u00e4\u20ac\U0001f3a5", toUtf16(all));
    EXPECT_EQ(all, toUtf8(toUtf16(all)));
    EXPECT_EQ(u"\ufffdx", toUtf16("\xffx"));
    EXPECT_EQ(u"\ufffd", toUtf16("\xe2").substr(0, 1));
    EXPECT_EQ(u"\ufffd\ufffd", toUtf16("\xc0\x80"));            // overlong
    EXPECT_EQ(u"\ufffd\ufffd\ufffd", toUtf16("\xed\xa0\x80"));  // a surrogate
    EXPECT_EQ("\ufffdx\ufffd", toUtf8(std::u16string{0xDC00, 'x', 0xD800}));
}

TEST(Pacer, KeepsAnAbsoluteScheduleAndMovesItAfterAPause) {
    using namespace std::chrono_literals;
    const Pacer::Clock::time_point start{1h};
    Pacer pacer(50);
    EXPECT_EQ(start, pacer.nextDue(start));
    EXPECT_EQ(start + 20ms, pacer.nextDue(start + 1ms));
    EXPECT_EQ(start + 40ms, pacer.nextDue(start + 65ms));  // late, so at once, but the schedule stays
    EXPECT_EQ(start + 60ms, pacer.nextDue(start + 66ms));
    EXPECT_EQ(start + 5s, pacer.nextDue(start + 5s));
    EXPECT_EQ(start + 5s + 20ms, pacer.nextDue(start + 5s));
    Pacer none(0);
    EXPECT_EQ(start, none.nextDue(start));
    EXPECT_EQ(start + 1ms, none.nextDue(start + 1ms));
}

TEST(Summary, FailsACheckThatFoundADifferenceOrSawNothing) {
    const auto passed = [](std::optional<PixelCheck::Result> result) {
        Summary summary;
        summary.check = std::move(result);
        return checkPassed(summary);
    };
    EXPECT_TRUE(passed(std::nullopt));
    EXPECT_TRUE(passed(PixelCheck::Result{5, 0, ""}));
    EXPECT_FALSE(passed(PixelCheck::Result{5, 1, "frame 2, level 0"}));
    EXPECT_FALSE(passed(PixelCheck::Result{0, 0, ""}));
}

TEST(MonitorLines, AreReadOnlyIfTheyAreWhatTheySay) {
    MonitorReport report;
    EXPECT_TRUE(
        readReport(R"({"frameMonitor":"report","frames":7,"distinct":6,"latencyUs":{"median":5,"p99":"x"},)"
                   R"("newest":{"frame":9}})",
                   report));
    EXPECT_EQ(6, report.distinct);
    EXPECT_EQ(5, report.medianUs);
    EXPECT_EQ(0, report.p99Us);
    EXPECT_EQ(9, report.newestFrame);

    std::int32_t frame = 0;
    LevelDigests digests;
    const std::string eight = R"(["00000000000000ff",null,null,null,null,null,null,"ffffffffffffffff"])";
    EXPECT_TRUE(readDigests(R"({"frameMonitor":"frame","frame":3,"digests":)" + eight + "}", frame, digests));
    EXPECT_EQ(3, frame);
    EXPECT_EQ(255u, digests[0]);
    EXPECT_EQ(std::nullopt, digests[1]);
    EXPECT_EQ(UINT64_MAX, digests[7]);
    for (const char* line : {"", "[]", R"({"frameMonitor":"frame","frame":3,"digests":[null]})",
                             R"({"frameMonitor":"frame","digests":{}})", R"({"frameMonitor":5})"}) {
        EXPECT_FALSE(readReport(line, report)) << line;
        EXPECT_FALSE(readDigests(line, frame, digests)) << line;
    }
}

}  // namespace
