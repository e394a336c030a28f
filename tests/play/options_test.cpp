// options_test.cpp - the command line, its small languages, and the plain decisions of a play.
#include "tools/lumetra-play/run/options.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/play.h"
#include "tools/lumetra-play/view/progress.h"
#include "tools/lumetra-play/view/summary.h"
#include "tools/support/text.h"

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
    const char* const line[] = {"lumetra-play", "--no-pyramid", "--module", "A=1", "--module", "B", "-",
                                "--fast"};
    const auto options = parseOptions(static_cast<int>(std::size(line)), line);
    ASSERT_TRUE(options);
    EXPECT_EQ(false, options->pyramid);
    EXPECT_TRUE(options->fast);
    EXPECT_FALSE(options->frames);
    EXPECT_EQ(std::vector<std::string>{"-"}, options->inputs);
    ASSERT_EQ(2u, options->modules.size());
    EXPECT_EQ("B", options->modules[1].name);
}

TEST(Options, TakeAPortForTheViewOrAny) {
    const auto viewOf = [](const char* option) {
        const char* const line[] = {"lumetra-play", option, "/clip.y4m"};
        const auto options = parseOptions(static_cast<int>(std::size(line)), line);
        EXPECT_EQ(std::vector<std::string>{"/clip.y4m"}, options->inputs);
        return options->view ? options->view->address + " " + std::to_string(options->view->port) : "none";
    };
    EXPECT_EQ("127.0.0.1 0", viewOf("--view"));
    EXPECT_EQ("127.0.0.1 8080", viewOf("--view=8080"));
    EXPECT_EQ("0.0.0.0 80", viewOf("--view=0.0.0.0:80"));
    EXPECT_EQ("::1 80", viewOf("--view=[::1]:80"));
    EXPECT_EQ("none", viewOf("--loop"));
    for (const char* option : {"--view=x", "--view=-1", "--view=65536", "--view=80x", "--view=:80",
                               "--view=::1:80", "--view=[::1]"})
        EXPECT_THROW(viewOf(option), PlayError) << option;
}

TEST(Options, ReadCommandsAndTheModulesToWatch) {
    const CommandRequest command = parseCommand("Name:1000=a:b=c");
    EXPECT_EQ("Name", command.module);
    EXPECT_EQ(1000, command.number);
    EXPECT_EQ("a:b=c", command.text);
    EXPECT_EQ(3, parseCommand("102:3").number);
    for (const char* text : {"", "Name", ":3", "Name:", "Name:x", "Name:3x=1", "Name=3:4"})
        EXPECT_THROW(parseCommand(text), PlayError) << text;

    const char* const line[] = {"lumetra-play", "--watch", "A", "--module", "B=1", "--watch", "B"};
    const auto modules = parseOptions(static_cast<int>(std::size(line)), line)->modules;
    ASSERT_EQ(2u, modules.size());
    EXPECT_EQ("1", modules[0].configuration);
    EXPECT_TRUE(modules[0].watched && modules[1].watched);
}

TEST(Options, ThatMakeNoSenseAreRefusedInOwnWords) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--size", "1x1", "--size", "2x2"}, "--size is given twice: give it once"},
        {{"--view=1", "--view=2"}, "--view is given twice: give it once"},
        {{"--size"}, "--size needs a value: see lumetra-play --help"},
        {{"--sheet", ""}, "--sheet: needs a value"},
        {{"--fps", "nan"}, "--fps: nan is no such number: use 0.001 to 1000"},
        {{"--fast", "--fps", "5"}, "--fps excludes --fast: see lumetra-play --help"},
        {{"--module", "A", "--module", "A=1"}, "--module: A is named twice: leave out one"},
        {{"--watch", "A", "--watch", "A=1"}, "--watch: A is named twice: leave out one"},
        {{"--pyramid", "--no-pyramid"}, "--pyramid is given twice: give it once"},
        {{"--view", "--module", "LiveView"}, "--view loads the module LiveView: leave out one of the two"},
        {{"--camera", "scene", "--watch", "CameraSource"},
         "--camera loads the module CameraSource: leave out one of the two"},
        {{"--info", "clip.mp4"}, "source has no meaning beside --info and --devices: leave it out"},
        {{"--raw", "gray", "--size", "1x1", "-f", "x", "-"},
         "--raw excludes --input-format: see lumetra-play --help"},
        {{"--camera", "scene", "--fast"}, "--fast excludes --camera: see lumetra-play --help"},
        {{"--camera", "scene", "clip.mp4"}, "source excludes --camera: see lumetra-play --help"},
        {{"--raw", "gray", "-"}, "--raw requires --size: see lumetra-play --help"},
        {{"--loop"}, "--loop is for a source that ends: name one, or leave it out"},
        {{"--view-name", "a"}, "--view-name requires --view: see lumetra-play --help"},
        {{"--start", "1"}, "--start requires source: see lumetra-play --help"},
        {{"--nonsense"}, "--nonsense is no option: see lumetra-play --help"},
    };
    for (const auto& [words, message] : cases) {
        std::vector<const char*> line = {"lumetra-play"};
        line.insert(line.end(), words.begin(), words.end());
        try {
            parseOptions(static_cast<int>(line.size()), line.data());
            ADD_FAILURE() << message;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(message, error.what());
        }
    }
}

TEST(Options, TakeUrlsAsTheyAreAndMakePathsAbsolute) {
    for (const char* name : {"file:clip.mp4", "concat:a.ts|b.ts", "udp://@:1234", "-"})
        EXPECT_FALSE(isPath(name)) << name;
    for (const char* name : {"clip.mp4", "./a:b", "shots/%04d.png"}) EXPECT_TRUE(isPath(name)) << name;
    for (const auto& [reader, absolute] : {std::pair("image2", true),
#ifdef LUMETRA_PLAY_MEDIA
                                           {"lavfi", false},
                                           {"v4l2", false}
#endif
         }) {
        const char* const line[] = {"lumetra-play", "-f", reader, "testsrc2"};
        EXPECT_EQ(absolute, parseOptions(4, line)->inputs[0].starts_with('/')) << reader;
    }
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
    Pacer pacer;
    EXPECT_EQ(start, pacer.nextDue(start, 7.0));
    EXPECT_EQ(start + 20ms, pacer.nextDue(start + 1ms, 7.02));
    EXPECT_EQ(start + 50ms, pacer.nextDue(start + 65ms, 7.05));  // late, so at once, but the schedule stays
    EXPECT_EQ(start + 70ms, pacer.nextDue(start + 66ms, 7.07));
    EXPECT_EQ(start + 5s, pacer.nextDue(start + 5s, 7.09));
    EXPECT_EQ(start + 5s + 20ms, pacer.nextDue(start + 5s, 7.11));
}

TEST(ExitStatus, IsTheWorstOfWhatHappened) {
    Summary good;
    good.pushed = good.monitor.distinct = 5;
    Summary dropped = good, nothing = good, wrong = good, unchecked = good, right = good;
    dropped.monitor.distinct = 4;
    nothing.monitor.distinct = 0;
    wrong.check = PixelCheck::Result{5, 1, "frame 2, level 0"};
    unchecked.check = PixelCheck::Result{0, 0, ""};
    right.check = PixelCheck::Result{5, 0, ""};
    EXPECT_EQ(0, statusOf(good, false, true));
    EXPECT_EQ(0, statusOf(right, false, true));
    EXPECT_EQ(0, statusOf(dropped, false, false));
    EXPECT_EQ(3, statusOf(dropped, false, true));
    EXPECT_EQ(3, statusOf(nothing, false, false));
    EXPECT_EQ(2, statusOf(unchecked, false, false));
    EXPECT_EQ(2, statusOf(wrong, true, true));
    EXPECT_EQ(130, statusOf(nothing, true, true));
}

TEST(Progress, FitsEveryWidthWithWhatMattersFirst) {
    MonitorReport monitor;
    monitor.distinct = 123450;
    monitor.medianUs = 1690;
    monitor.p99Us = 3630;
    const auto text = [&](std::size_t columns) {
        return progressText(123456, 6, monitor, {1, 0.25, 300}, columns);
    };
    for (std::size_t columns = 1; columns < 200; ++columns) EXPECT_LE(text(columns).size(), columns);
    EXPECT_EQ("delivered 123450/123456", text(33));
    EXPECT_EQ("delivered 123450/123456  dropped 6", text(34));
    EXPECT_EQ("delivered 123450/123456  dropped 6  latency 1.69 ms (p99 3.63 ms)  cpu 25 %  wake-ups 300/s",
              text(199));
}

TEST(MonitorLines, AreReadOnlyIfTheyAreWhatTheySay) {
    const auto report = readReport(
        parseJson(R"({"frameMonitor":"report","distinct":6,"latencyUs":{"median":5},"newest":{"frame":9}})"));
    ASSERT_TRUE(report);
    EXPECT_EQ(6, report->distinct);
    EXPECT_EQ(5, report->medianUs);
    EXPECT_EQ(0, report->p99Us);
    EXPECT_EQ(9, report->newestFrame);

    const std::string eight = R"(["00000000000000ff",null,null,null,null,null,null,"ffffffffffffffff"])";
    const auto found =
        readDigests(parseJson(R"({"frameMonitor":"frame","frame":3,"digests":)" + eight + "}"));
    ASSERT_TRUE(found);
    EXPECT_EQ(3, found->frame);
    EXPECT_EQ("00000000000000ff", found->levels[0]);
    EXPECT_EQ("", found->levels[1]);
    EXPECT_EQ("ffffffffffffffff", found->levels[7]);
    for (const char* line : {"", "[]", R"({"frameMonitor":"frame","frame":3,"digests":[null]})",
                             R"({"frameMonitor":"frame","digests":{}})", R"({"frameMonitor":5})"}) {
        EXPECT_FALSE(readReport(parseJson(line))) << line;
        EXPECT_FALSE(readDigests(parseJson(line))) << line;
    }
}

}  // namespace
