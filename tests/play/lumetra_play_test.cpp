// lumetra_play_test.cpp - the program as people run it: its output, its exit status, its files.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <png.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <filesystem>

#include <chrono>
#include <future>

#include <nlohmann/json.hpp>

#include "tests/support/temporary_folder.h"
#include "tools/support/text.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

class LumetraPlay : public testing::Test {
protected:
    int play(const std::string& arguments) { return run(LUMETRA_PLAY_PROGRAM " " + arguments); }

    // Runs a shell command to its end.
    int run(const std::string& line) {
        const std::string command = line + " >" + folder.file("out") + " 2>" + folder.file("err");
        const int result = std::system(command.c_str());
        out = folder.read("out");
        err = folder.read("err");
        return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }

    TemporaryFolder folder;
    std::string out, err;  // of the last run
};

TEST_F(LumetraPlay, PlaysTheSceneThroughEveryFormatWithEveryPixelRight) {
    const char* const cases[] = {"rgb",
                                 "bgr --flags 7",
                                 "bgra --flags gray --pyramid",
                                 "yuyv",
                                 "yuyv --flags 7",
                                 "gray8 --flags 7",
                                 "gray",
                                 "bgra --flags gray,flip --no-pyramid"};
    for (const char* format : cases) {
        EXPECT_EQ(0, play("--size 97x61 --frames 12 --fps 60 --check --format " + std::string(format)))
            << format << err;
        EXPECT_THAT(out, HasSubstr("pushed     12 frames")) << format;
        EXPECT_THAT(out, ContainsRegex("checked [1-9][0-9]* frames, 0 differ")) << format;
    }
}

#ifdef LUMETRA_PLAY_MEDIA
TEST_F(LumetraPlay, WritesASheetThatShowsWhatModulesReceived) {
    // Left half black, right half white, so that a few pixels tell where everything lies.
    std::string picture = "P5\n64 64\n255\n";
    for (int k = 0; k < 64 * 64; ++k) picture += k % 64 < 32 ? '\0' : '\xff';
    const std::string sheet = folder.file("sheet.png");
    ASSERT_EQ(0,
              play("--loop --fps 50 --frames 3 --sheet " + sheet + " " + folder.write("halves.pgm", picture)))
        << err;
    EXPECT_THAT(out, HasSubstr(sheet));

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(0, png_image_begin_read_from_file(&image, sheet.c_str())) << image.message;
    image.format = PNG_FORMAT_GRAY;
    // 64 pixels are enlarged to 640: three rows of three tiles, 8 pixels around each.
    EXPECT_EQ(8u + 3 * 648, image.width);
    EXPECT_EQ(8u + 3 * 648, image.height);
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    ASSERT_NE(0, png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
    const auto at = [&](unsigned x, unsigned y) { return int{pixels[y * image.width + x]}; };
    // The frame and levels 0 to 5; level 6 is one pixel, and level 7 would be half of one.
    for (unsigned tile = 0; tile < 9; ++tile) {
        const unsigned left = 8 + tile % 3 * 648, top = 8 + tile / 3 * 648;
        EXPECT_EQ(tile < 7 ? 0 : tile == 7 ? 128 : 46, at(left, top)) << "tile " << tile;
        EXPECT_EQ(tile < 7 ? 255 : tile == 7 ? 128 : 46, at(left + 639, top + 639)) << "tile " << tile;
    }
    EXPECT_EQ(0, at(8 + 319, 300)) << "the frame";
    EXPECT_EQ(255, at(8 + 320, 300));
    EXPECT_EQ(46, at(4, 4)) << "margin";
}
#endif

TEST_F(LumetraPlay, AnswersEveryMistakeWithOneLineAndAStatus) {
    const std::pair<std::string, const char*> cases[] = {
        {"--nonsense", "--nonsense is no option"},
        {"--size 640", "--size: 640"},
        {"--format rgba", "--format: rgba"},
        {"--fps 2000", "--fps"},
        {"--frames x", "--frames: x"},
        {"--flags 99", "--flags: 99"},
        {"--size 0x0", "empty"},
        {"--size 99999x99999", "too large"},
        {"--raw rgb24", "--raw requires"},
        {"--command Name", "NAME:NUMBER"},
        {"--command - -", "standard input"},
        {"--library /nowhere.so", "--library"},
        {"--flags dump --writable /nowhere", "--writable"},
        {"--flags pyramid --check", "--check"},
        {folder.file("missing.mp4"), "missing.mp4"},
    };
    for (const auto& [arguments, says] : cases) {
        EXPECT_EQ(1, play(arguments)) << arguments;
        EXPECT_THAT(err, StartsWith("lumetra-play: ")) << arguments;
        EXPECT_THAT(err, HasSubstr(says)) << arguments;
        EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
        EXPECT_EQ(1, play("--json " + arguments));
        EXPECT_THAT(parseJson(out)["error"].get<std::string>(), HasSubstr(says)) << out;
    }
    EXPECT_EQ(1, run("TMPDIR=/nowhere " LUMETRA_PLAY_PROGRAM " --frames 0 --sheet sheet.png"));
    EXPECT_THAT(err, HasSubstr("set TMPDIR"));
    // What the library prints while it is loaded comes before these.
    const std::pair<std::string, const char*> later[] = {
        {"--module Missing --frames 1", "--module-path"},
        {"--library '" FRAMEMONITOR_LIBRARY "'", "LumetraCore_initialize"},
    };
    for (const auto& [arguments, says] : later) {
        EXPECT_EQ(1, play(arguments)) << arguments;
        EXPECT_THAT(err, ContainsRegex("lumetra-play: .*" + std::string(says))) << arguments;
        EXPECT_EQ("", out) << arguments;
    }
}

TEST_F(LumetraPlay, PlaysThroughALibraryOpenedByPathAndDumpsWhereItIsTold) {
    EXPECT_EQ(0, play("--library '" LUMETRACORE_LIBRARY
                      "' --size 32x16 --frames 2 --check --log --flags gray,pyramid,dump"
                      " --writable " +
                      folder.file("")))
        << err;
    EXPECT_THAT(out, ContainsRegex("checked [1-9][0-9]* frames, 0 differ"));
    EXPECT_THAT(err, HasSubstr("log: FrameMonitor.framework/FrameMonitor loaded successfully!"));
    EXPECT_THAT(folder.read("dbg_1_lvl_1.pgm"), StartsWith("P5\n#debug\n16 8\n255\n"));
}

TEST_F(LumetraPlay, GivesScriptsOneDocumentAndNothingElse) {
    EXPECT_EQ(0, play("--json --frames 6 --fps 60 --check")) << err;
    const Json document = parseJson(out);
    EXPECT_EQ(1, std::count(out.begin(), out.end(), '\n')) << out;
    EXPECT_EQ(6, document["frames"]["pushed"]);
    const int delivered = document["frames"]["delivered"];
    EXPECT_GT(delivered, 0);
    EXPECT_EQ(6 - delivered, document["frames"]["dropped"]["byEngine"]);
    EXPECT_EQ(0, document["exitStatus"]);
    EXPECT_EQ("FrameMonitor", document["modules"][0]["name"]);
    EXPECT_GT(document["processor"]["wakeUpsPerSecond"], 0);
    EXPECT_THAT(err, HasSubstr("ONLOAD"));

    EXPECT_EQ(0, play("--json --camera scene --size 32x16 --descriptors --frames 3")) << err;
    EXPECT_EQ(3, parseJson(out)["frames"]["pushed"]) << out;
    EXPECT_THAT(err, HasSubstr("descriptor {"));
    std::filesystem::create_directories(folder.file("pictures/frame_000001.jpg.part"));
    EXPECT_EQ(1, play("--camera scene --size 32x16 --frames 3 --save-jpeg '" + folder.file("pictures") + "'"))
        << out;

    EXPECT_EQ(0, play("--info --devices")) << err;
    EXPECT_TRUE(parseJson(out)["devices"]["videoInputDevices"].is_array()) << out;
    EXPECT_EQ("iOS", parseJson(out)["info"]["os"]) << out;
    EXPECT_EQ(0, play("--quiet --frames 2"));
    EXPECT_EQ("", out + err);
    EXPECT_EQ(0, play("--version"));
    EXPECT_THAT(out, StartsWith("lumetra-play "));
}

#ifdef LUMETRA_PLAY_VIEW
TEST_F(LumetraPlay, SaysWhyThePageCannotBeServed) {
    const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(taken, reinterpret_cast<sockaddr*>(&address), size));
    ASSERT_EQ(0, listen(taken, 1));
    getsockname(taken, reinterpret_cast<sockaddr*>(&address), &size);
    EXPECT_EQ(1, play("--frames 1 --view=" + std::to_string(ntohs(address.sin_port))));
    EXPECT_THAT(err, ContainsRegex("Address already in use.*name another port"));
    close(taken);
    EXPECT_EQ(1, play("--frames 1 --view=192.0.2.1:8080"));
    EXPECT_THAT(
        err,
        ContainsRegex("not served .LiveView: .*Cannot assign requested address.*an address of this machine"));
    EXPECT_EQ(1, play("--frames 1 --view=[2001:db8::1]:8080"));
    EXPECT_THAT(err, HasSubstr("[2001:db8::1]:8080 cannot be opened ("));
    EXPECT_EQ(0, play("--frames 1 --view=0.0.0.0:0 --view-name board.local")) << err;
    EXPECT_THAT(out, HasSubstr("live view: http://127.0.0.1:"));
}
#endif

TEST_F(LumetraPlay, SaysWhyItCannotWriteAndLeavesNoHalfFile) {
    EXPECT_EQ(1, run("sh -c '" LUMETRA_PLAY_PROGRAM " --frames 2 >/dev/full'"));
    EXPECT_THAT(err, HasSubstr("No space left"));
    run("sh -c '{ " LUMETRA_PLAY_PROGRAM " --frames 2; echo $? >&3; } | true' 3>" + folder.file("status"));
    EXPECT_EQ("1\n", folder.read("status")) << "nobody reads the pipe";
    EXPECT_EQ(1, play("--frames 2 --size 64x48 --sheet /dev/full"));
    EXPECT_THAT(err, HasSubstr("No space left"));
    EXPECT_THAT(out, HasSubstr("pushed     2 frames"));
    EXPECT_EQ(1, run("sh -c 'ulimit -f 1; trap \"\" XFSZ; exec " LUMETRA_PLAY_PROGRAM " --frames 2 --sheet " +
                     folder.file("large.png") + "'"));
    EXPECT_THAT(err, HasSubstr("large.png"));
    for (const auto& entry : std::filesystem::directory_iterator(folder.file("")))
        EXPECT_THAT(entry.path().filename(), testing::Not(StartsWith("large"))) << "left behind";
}

TEST_F(LumetraPlay, EndsWithASummaryWhenItIsInterrupted) {
    // Somebody who writes less than a frame and then nothing: a program that reads from here waits forever.
    ASSERT_EQ(0, mkfifo(folder.file("silence").c_str(), 0600));
    const int silence = open(folder.file("silence").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(16, write(silence, "less than a fram", 16));
    const std::pair<std::string, const char*> cases[] = {
        {"--frames 0 --size 64x48", "  pushed "},
#ifdef LUMETRA_PLAY_MEDIA
        {"--raw gray --size 64x48 - <" + folder.file("silence"), ""},
        {folder.file("unwritten"), ""},
#endif
    };
    ASSERT_EQ(0, mkfifo(folder.file("unwritten").c_str(), 0600));
#ifdef LUMETRA_PLAY_MEDIA
    EXPECT_EQ(3, play("--seconds 0.1 " + folder.file("unwritten")));
    EXPECT_THAT(err, HasSubstr("no frame came within --seconds"));
#endif
    for (const auto& test : cases) {
        const std::string& arguments = test.first;
        for (const char* name : {"out", "pid"}) folder.write(name, "");
        auto result = std::async(std::launch::async, [&] {
            return run("sh -c 'echo $$ >" + folder.file("pid") +
                       "; exec \"$@\"' sh " LUMETRA_PLAY_PROGRAM " " + arguments);
        });
        // It has taken the signals over when they are blocked.
        const auto ready = [&] {
            const std::string pid = folder.read("pid");
            if (pid.empty()) return false;
            std::ifstream status("/proc/" + pid.substr(0, pid.find('\n')) + "/status");
            for (std::string line; std::getline(status, line);)
                if (line.starts_with("SigBlk:")) return line.back() == '3' || line.back() == '7';
            return false;
        };
        while (!ready() && result.wait_for(std::chrono::milliseconds(5)) == std::future_status::timeout) {
        }
        kill(std::stoi(folder.read("pid")), SIGINT);
        EXPECT_EQ(130, result.get());
        EXPECT_THAT(out, HasSubstr(test.second)) << arguments << err;
    }
    close(silence);
}

}  // namespace
