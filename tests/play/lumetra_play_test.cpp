// lumetra_play_test.cpp - the program as people run it: its output, its exit status, its files.
// Noise is played, since in it every wrong pixel shows. A busy machine may lose frames, which is no
// failure here; wrong pixels are.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <random>

#include "tests/support/temporary_folder.h"

namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string noise(std::size_t bytes) {
    std::mt19937 random(1);
    std::string text(bytes, '\0');
    for (char& byte : text) byte = static_cast<char>(random());
    return text;
}

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
                                 "gray --flags 7",
                                 "gray",
                                 "bgra --flags gray,flip --no-pyramid"};
    for (const char* format : cases) {
        EXPECT_EQ(0, play("--size 97x61 --frames 12 --fps 60 --check --format " + std::string(format)))
            << format << err;
        EXPECT_THAT(out, HasSubstr("pushed     12 frames")) << format;
        EXPECT_THAT(out, ContainsRegex("checked [1-9][0-9]* frames, 0 differ")) << format;
    }
}

TEST_F(LumetraPlay, PlaysRawVideoFromStandardInputAndFiles) {
    const std::pair<const char*, std::size_t> formats[] = {
        {"rgb", 3}, {"bgr", 3}, {"bgra", 4}, {"yuyv", 2}, {"gray", 1}};
    for (const auto& [format, bytes] : formats) {
        const std::string clip = folder.write("clip.raw", noise(64 * 48 * bytes * 10));
        const std::string options = std::string("--fps 60 --check --size 64x48 --format ") + format;
        EXPECT_EQ(0, play(options + " - <" + clip)) << format << err;
        EXPECT_THAT(out, HasSubstr("pushed     10 frames")) << format;
        EXPECT_THAT(out, ContainsRegex("checked [1-9][0-9]* frames, 0 differ")) << format;
        EXPECT_EQ(0, play(options + " --loop --frames 13 " + clip)) << format << err;
        EXPECT_THAT(out, HasSubstr("pushed     13 frames")) << format;
    }
}

TEST_F(LumetraPlay, PlaysY4mAndTellsOfACutOffEnd) {
    for (const auto& [colour, bytes] :
         {std::pair{"C422", 62 * 41 + 2 * 31 * 41}, {"C444", 3 * 62 * 41}, {"Cmono", 62 * 41}}) {
        std::string clip = std::string("YUV4MPEG2 W62 H41 F50:1 Ip ") + colour + "\n";
        for (int k = 0; k < 6; ++k) clip += "FRAME\n" + noise(static_cast<std::size_t>(bytes));
        EXPECT_EQ(0, play("--check - <" + folder.write("clip.y4m", clip + "FRAME\nrest"))) << colour << err;
        EXPECT_THAT(out, HasSubstr("pushed     6 frames")) << colour;
        EXPECT_THAT(out, ContainsRegex("checked [1-9][0-9]* frames, 0 differ")) << colour;
        EXPECT_THAT(out, HasSubstr("cut off after 4 of")) << colour;
    }
}

TEST_F(LumetraPlay, WritesASheetThatShowsWhatModulesReceived) {
    // Left half black, right half white, so that a few pixels tell where everything lies.
    std::string picture = "P5\n64 64\n255\n";
    for (int k = 0; k < 64 * 64; ++k) picture += k % 64 < 32 ? '\0' : '\xff';
    const std::string sheet = folder.file("sheet.png");
    ASSERT_EQ(0, play("--loop --frames 3 --sheet " + sheet + " " + folder.write("halves.pgm", picture)))
        << err;
    EXPECT_THAT(out, HasSubstr(sheet));

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(0, png_image_begin_read_from_file(&image, sheet.c_str())) << image.message;
    image.format = PNG_FORMAT_GRAY;
    // 64 pixels are enlarged to 448: margins of 11, then 448 | 448 | two tiles of 112 with 11 between them.
    EXPECT_EQ(11u + 448 + 11 + 448 + 11 + (2 * 112 + 11) + 11, image.width);
    EXPECT_EQ(11u + 7 + 448 + 11, image.height);
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    ASSERT_NE(0, png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
    const auto at = [&](unsigned x, unsigned y) { return int{pixels[y * image.width + x]}; };
    for (const unsigned left : {11u, 470u}) {
        EXPECT_EQ(0, at(left, 18)) << "left edge of the picture at " << left;
        EXPECT_EQ(0, at(left + 223, 240));
        EXPECT_EQ(255, at(left + 224, 240));
        EXPECT_EQ(255, at(left + 447, 465));
    }
    EXPECT_EQ(0, at(929, 18 + 100)) << "level 1";
    EXPECT_EQ(255, at(929 + 223, 18 + 100));
}

TEST_F(LumetraPlay, AnswersEveryMistakeWithOneLineAndAStatus) {
    const std::string clip = folder.write("clip.raw", "short");
    const std::pair<std::string, const char*> cases[] = {
        {"--nonsense", "--help"},
        {"--size 640", "--size 640"},
        {"--format rgba", "--format rgba"},
        {"--fps 2000", "--fps"},
        {"--flags 99", "--flags 99"},
        {"--size 0x0", "empty"},
        {"--size 99999x99999", "too large"},
        {clip, "--size WxH and --format"},
        {"--size 64x48 --format rgb " + clip, "no whole frame"},
        {folder.file("no.y4m"), "cannot open"},
        {"--module Missing --frames 1", "Missing"},
        {"--module-path /nowhere --module Missing --frames 1", "--module-path"},
        {"--library /nowhere.so", "--library"},
        {"--library '" FRAMEMONITOR_LIBRARY "'", "LumetraCore_initialize"},
        {"--frames 1 --sheet /nowhere/sheet.png", "/nowhere/sheet.png"},
        {"--flags dump --writable /nowhere", "--writable"},
        {"--flags pyramid --check", "--check"},
    };
    for (const auto& [arguments, says] : cases) {
        EXPECT_EQ(1, play(arguments)) << arguments;
        EXPECT_THAT(err, StartsWith("lumetra-play: ")) << arguments;
        EXPECT_THAT(err, HasSubstr(says)) << arguments;
        EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
        EXPECT_THAT(err, EndsWith("\n")) << arguments;
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

TEST_F(LumetraPlay, EndsWithASummaryWhenItIsInterrupted) {
    // Somebody who writes less than a frame and then nothing: a program that reads from here waits forever.
    ASSERT_EQ(0, mkfifo(folder.file("silence").c_str(), 0600));
    const int silence = open(folder.file("silence").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(16, write(silence, "less than a fram", 16));
    for (const std::string& arguments : {std::string("--frames 0 --size 64x48"),
                                         "--size 64x48 --format gray - <" + folder.file("silence")}) {
        for (const char* name : {"out", "pid"}) folder.write(name, "");
        auto result = std::async(std::launch::async, [&] {
            return run("sh -c 'echo $$ >" + folder.file("pid") +
                       "; exec \"$@\"' sh " LUMETRA_PLAY_PROGRAM " " + arguments);
        });
        // The library greets when the engine starts, which is after the player has taken the signals over.
        while (folder.read("out").find("Registering Callback!") == std::string::npos &&
               result.wait_for(std::chrono::milliseconds(5)) == std::future_status::timeout) {
        }
        kill(std::stoi(folder.read("pid")), SIGINT);
        EXPECT_EQ(0, result.get());
        EXPECT_THAT(out, HasSubstr("  pushed ")) << arguments << err;
    }
    close(silence);
}

}  // namespace
