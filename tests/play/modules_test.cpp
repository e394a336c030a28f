// modules_test.cpp - modules driven by the player: commands in, results out, reloaded under flowing
// frames.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/temporary_folder.h"
#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;

constexpr const char* FIRST = TEXT_MODULES "/TextOne.framework/TextOne";
constexpr const char* SECOND = TEXT_MODULES "/TextTwo.framework/TextTwo";
constexpr const char* VIEW = TEXT_MODULES "/TextView.framework/TextView";

class DrivenModules : public testing::Test {
protected:
    DrivenModules() {
        fs::create_directory(folder.file("Text.framework"));
        put(FIRST);
    }
    // As a linker does: the new file takes the place of the old one.
    void put(const std::string& library) {
        fs::copy_file(library, file + ".new", fs::copy_options::overwrite_existing);
        fs::rename(file + ".new", file);
    }
    int play(const std::string& arguments, const std::string& input = "true") {
        const std::string command = "{ " + input + "; } | { " LUMETRA_PLAY_PROGRAM " --module-path " +
                                    folder.file("") + " " + arguments + "; } >" + folder.file("out") + " 2>" +
                                    folder.file("err");
        const int result = std::system(command.c_str());
        out = folder.read("out");
        err = folder.read("err");
        return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }

    // Shell words that wait until the file has these; a player that ends early does not hold them up for
    // ever.
    std::string untilSaid(const std::string& words, const char* stream) {
        return " for i in $(seq 600); do grep -q '" + words + "' " + folder.file(stream) +
               " && break; sleep 0.1; done; ";
    }

    TemporaryFolder folder;
    const std::string file = folder.file("Text.framework/Text");
    std::string out, err;  // of the last run
};

std::ptrdiff_t entriesOf(const char* folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

std::ptrdiff_t mappingsOf(const std::string& name) {
    std::ifstream maps("/proc/self/maps");
    std::ptrdiff_t count = 0;
    for (std::string line; std::getline(maps, line);) count += line.find(name) != std::string::npos ? 1 : 0;
    return count;
}

TEST_F(DrivenModules, TakeCommandsAndShowResultsLineByLine) {
    EXPECT_EQ(
        0,
        play("--frames 5 --fps 50 --size 32x16 --module Text=abc --command Text:1000=hello --command 60:77"))
        << err;
    EXPECT_THAT(err, HasSubstr("Text:1000 answers 1"));
    EXPECT_THAT(err, HasSubstr("60:77 answers 0"));
    EXPECT_THAT(out, HasSubstr("Text {\"version\":1,\"heard\":\"hello\", \"configured\":\"abc\"}\n"));
    EXPECT_THAT(out, ContainsRegex("Text \\{\"frame\":[0-4]\\}\n"));
    EXPECT_THAT(out, ContainsRegex("Text       id 60, status 7, [1-6] results"));

    EXPECT_EQ(
        0, play("--json --frames 5 --fps 50 --size 32x16 --module Text --command -", "echo Text:1000=piped"))
        << err;
    const Json document = parseJson(out);
    EXPECT_EQ("Text", document["modules"][1]["name"]) << out;
    EXPECT_EQ(7, document["modules"][1]["status"]);
    EXPECT_TRUE(document["modules"][1]["lastResult"].is_object()) << out;
    EXPECT_THAT(err, HasSubstr("\"heard\":\"piped\""));
}

TEST_F(DrivenModules, ThatDoNotLoadSayWhyAndWhereToLook) {
    std::ofstream(file) << "no library";
    EXPECT_EQ(1, play("--frames 1 --module Text"));
    EXPECT_THAT(err, HasSubstr("file too short"));
    EXPECT_THAT(err, HasSubstr("lumetra-inspect " + file));
}

TEST_F(DrivenModules, ThatThrowAreNamedAndEndNothingElse) {
    EXPECT_EQ(0, play("--frames 0 --size 32x16 --module Text --command -",
                      "echo Text:1003; echo Text:1000=alive;" + untilSaid("frame", "out") + "echo q"));
    EXPECT_THAT(out, HasSubstr("\"heard\":\"alive\"")) << err;
    struct Case {
        const char* arguments;
        int status;
        const char *says, *prints;
    };
    const Case cases[] = {
        {"Text=throw-initialize", 1, "be configured (broken): mend it", ""},
        {"Text --command Text:1003", 1, "answer Text:1003 (not a std::exception)", ""},
        {"Text=throw-status", 1, "tell its status (broken)", "pushed     2 frames"},
        {"Text=throw-destroy", 0, "be removed (broken)", "pushed     2 frames"},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(test.status, play(std::string("--frames 2 --size 32x16 --module ") + test.arguments))
            << test.arguments;
        EXPECT_THAT(err,
                    HasSubstr(std::string("the module Text threw an exception when it was to ") + test.says));
        EXPECT_THAT(out, HasSubstr(test.prints)) << test.arguments;
    }
}

TEST_F(DrivenModules, AreShownInALiveViewThatIsAModuleLikeOthers) {
    fs::create_directory(folder.file("LiveView.framework"));
    fs::copy_file(VIEW, folder.file("LiveView.framework/LiveView"));
    EXPECT_EQ(0, play("--frames 2 --size 32x16 --module LiveView --module Text --command Text:1000=shown"))
        << err;
    EXPECT_THAT(out, ContainsRegex("LiveView .*\"heard\":\"Text .*shown"))
        << "what it logs or hands out meanwhile goes elsewhere";
    EXPECT_THAT(out, HasSubstr("Text loaded successfully"));
}

TEST_F(DrivenModules, ThatHangAreNamedToWhoeverEndsTheProgram) {
    EXPECT_EQ(130, play("--frames 0 --size 32x16 --module Text=hang & pid=$!;" + untilSaid("frame", "out") +
                        "kill -INT $pid;" + untilSaid("Ctrl-C", "err") + "kill -INT $pid; wait $pid"));
    EXPECT_THAT(err, HasSubstr("ended at once, waiting for a frame that is still in the module Text"));
}

TEST_F(DrivenModules, ThatHangAfterTheLastFrameKeepNoSummaryBackAndAreNamed) {
    EXPECT_EQ(130, play("--frames 3 --json --size 32x16 --module Text=hang & pid=$!;" +
                        untilSaid("Ctrl-C", "err") + "kill -INT $pid; wait $pid"));
    EXPECT_EQ(3, parseJson(out)["frames"]["pushed"]) << out;
    EXPECT_THAT(err, HasSubstr("waiting for a frame that is still in the module Text; Ctrl-C ends it"));
    EXPECT_THAT(err, HasSubstr("ended at once, waiting for a frame that is still in the module Text"));
}

TEST_F(DrivenModules, ThatAreSlowDropFramesWhichStrictMakesAFailure) {
    EXPECT_EQ(3, play("--strict --json --frames 40 --fps 100 --size 32x16 --module Text=slow")) << err;
    EXPECT_GT(parseJson(out)["frames"]["dropped"]["byEngine"], 0) << out;
}

TEST_F(DrivenModules, SayNothingIfQuiet) {
    EXPECT_EQ(0, play("--quiet --frames 5 --size 32x16 --module Text --command Text:1000"));
    EXPECT_EQ("", out + err);
}

TEST_F(DrivenModules, AreReloadedWhileTheProgramPlays) {
    const auto waitFor = [this](const char* stream, const char* words) {
        for (int patience = 2000; folder.read(stream).find(words) == std::string::npos && patience > 0;
             --patience)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    std::thread change([&] {
        waitFor("out", "Text {\"frame\":3}");
        std::ofstream(file + ".broken") << "no library";
        fs::rename(file + ".broken", file);
        waitFor("err", "the old one stays");
        put(LUMETRACORE_LIBRARY);
        waitFor("err", "getModuleID");
        put(SECOND);
    });
    EXPECT_EQ(0, play("--frames 0 --seconds 60 --size 32x16 --watch Text --module Text=abc --command -",
                      untilSaid("reloaded", "err") + "echo Text:1000; echo q"));
    change.join();
    EXPECT_THAT(err, HasSubstr("file too short"));
    EXPECT_THAT(err, HasSubstr("Text: reloaded, "));
    EXPECT_THAT(out, HasSubstr("Text {\"version\":2,\"heard\":\"\", \"configured\":\"abc\"}"));
}

TEST_F(DrivenModules, ComeBackWhenTheirNewLibraryFails) {
    const LibraryTable library(LUMETRACORE_LIBRARY);
    EngineSession engine(library, folder.file(""));
    engine.loadModule({"Text", "throw-initialize-two", true});
    const auto mappings = mappingsOf("Text-");
    put(SECOND);
    try {
        engine.reloadModule("Text");
        ADD_FAILURE() << "the new one does not throw";
    } catch (const PlayError& error) {
        EXPECT_THAT(error.what(), HasSubstr("the new Text is not used, the old one is back: "));
    }
    EXPECT_EQ(1, engine.command({"Text", 1000, ""}));
    EXPECT_NE(stampOf(file), engine.modules()[0].copy->original)
        << "the new file was not there when it was loaded";
    EXPECT_EQ(mappings, mappingsOf("Text-"));
}

TEST_F(DrivenModules, LeakNothingOverTwoHundredSwapsUnderLoad) {
    const LibraryTable library(LUMETRACORE_LIBRARY);
    output::setManner({true, false, false});
    fs::create_directory(folder.file("FrameMonitor.framework"));
    fs::copy_file(FRAMEMONITOR_LIBRARY, folder.file("FrameMonitor.framework/FrameMonitor"));
    EngineSession engine(library, folder.file(""));
    engine.configure(R"({"imageCfg":{"width":64,"height":48},"format":7,"conversionflags":1})");
    engine.loadModule({"FrameMonitor", std::nullopt});
    engine.loadModule({"Text", "abc", true});
    std::atomic<bool> ending = false;
    std::atomic<int> pushed = 0;
    std::thread camera([&] {
        const Bytes frame(64 * 48);
        for (; !ending; std::this_thread::sleep_for(std::chrono::milliseconds(4)))
            library.pushImageData(frame.data(), 64 * 48, u"{}", pushed++);
    });
    engine.reloadModule("Text");
    const auto files = entriesOf("/proc/self/fd"), threads = entriesOf("/proc/self/task");
    const auto mappings = mappingsOf("Text-");
    for (int swap = 2; swap <= 200; ++swap) {
        put(swap % 2 == 0 ? SECOND : FIRST);
        engine.reloadModule("Text");
        ASSERT_EQ(swap % 2 + (swap % 2 == 0 ? 2 : 0), engine.command({"Text", 1000, ""}));
    }
    ending = true;
    camera.join();
    const auto delivered = [&] {
        return library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(FRAMEMONITOR_CMD_COUNT), u"");
    };
    for (int patience = 100; delivered() < pushed && patience > 0; --patience)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_GE(delivered(), pushed * 95 / 100) << "a busy machine may drop some, but no swap stops the others";
    for (int patience = 100; mappingsOf("Text-") > mappings && patience > 0; --patience)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(mappings, mappingsOf("Text-"));
    EXPECT_EQ(files, entriesOf("/proc/self/fd"));
    EXPECT_EQ(threads - 1, entriesOf("/proc/self/task"));
    EXPECT_EQ(200, engine.report()[1]["reloads"]);
}

}  // namespace
