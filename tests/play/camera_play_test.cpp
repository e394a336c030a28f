// camera_play_test.cpp - the program with CameraSource: descriptors, pictures, device texts.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cmath>

#include "tests/support/jpeg_decoding.h"
#include "tests/support/temporary_folder.h"
#include "tools/lumetra-play/modules/host_exchange.h"

namespace {

using testing::HasSubstr;

// 64x48 YUYV with soft luma, as cameras see it, and noise for chroma.
std::string softFrame(int number) {
    std::string frame;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) {
            frame += static_cast<char>(std::lround(128 + 90 * std::sin((x + 2 * y + 11 * number) * 0.07)));
            frame += static_cast<char>(x * y);
        }
    return frame;
}

class CameraPlayProgram : public testing::Test {
protected:
    int play(const std::string& arguments) {
        const std::string command =
            LUMETRA_PLAY_PROGRAM " " + arguments + " >" + folder.file("out") + " 2>" + folder.file("err");
        const int result = std::system(command.c_str());
        out = folder.read("out");
        err = folder.read("err");
        return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }

    TemporaryFolder folder;
    std::string out, err;  // of the last run
};

}  // namespace

TEST(HostExchange, AnswersWithItsOwnDescriptorAndKeepsWhatLatencyIsMeasuredBy) {
    std::string seen;
    Bytes jpeg;
    EXPECT_EQ(
        R"({"host":"lumetra-play","frame":7,"timestampUs":1700000000000000})",
        answerTo(R"({"frame":7,"timestampUs":1700000000000000,"image":"TWFu/w==","x":[1]})", seen, jpeg));
    EXPECT_EQ((Bytes{'M', 'a', 'n', 255}), jpeg);
    EXPECT_EQ(R"({"frame":7,"timestampUs":1700000000000000,"x":[1]})", seen);
    for (const char* json : {"", "7", "[", R"({"image":7})", R"({"image":"TW?"})"}) {
        EXPECT_EQ(R"({"host":"lumetra-play"})", answerTo(json, seen, jpeg)) << json;
        EXPECT_EQ(Bytes{}, jpeg) << json;
    }
}

TEST_F(CameraPlayProgram, SavesPicturesThatShowTheFrames) {
    std::string clip;
    for (int number = 0; number < 3; ++number) clip += softFrame(number);
    const std::string arguments = "--size 64x48 --fps 100 --descriptors --save-jpeg " + folder.file("") +
                                  " --camera " + folder.write("clip.yuyv", clip);
    ASSERT_EQ(0, play(arguments)) << err;
    EXPECT_THAT(out, HasSubstr("pushed     3 frames"));
    EXPECT_THAT(out, HasSubstr("3 descriptors answered, 3 pictures saved, 0 not saved"));
    for (int number = 0; number < 3; ++number) {
        EXPECT_THAT(out,
                    HasSubstr(R"(descriptor {"source":"CameraSource","frame":)" + std::to_string(number)));
        const std::string jpeg = folder.read("frame_00000" + std::to_string(number) + ".jpg");
        const auto picture = decodeJpeg({jpeg.begin(), jpeg.end()});
        const std::string frame = softFrame(number);
        double error = 0;
        for (std::size_t i = 0; i < 64 * 48; ++i)
            error += std::abs(picture.samples[i] - static_cast<unsigned char>(frame[2 * i]));
        EXPECT_LT(error / (64 * 48), 2.0) << "mean grey levels off, frame " << number;
    }
}

TEST_F(CameraPlayProgram, SaysWhatToDoAboutACameraThatDoesNotWork) {
    const std::pair<const char*, const char*> cases[] = {
        {"--camera scene --check", "--check"},
        {"--camera scene clip.raw", "source"},
        {"--camera scene --pyramid", "--pyramid"},
        {"--camera scene --save-jpeg /nowhere", "--save-jpeg"},
        {"--camera scene --save-jpeg /tmp --format rgb", "--format"},
        {"--save-jpeg /tmp", "--camera"},
        {"--camera /nowhere", "No such file"},
        {"--camera /dev/null", "no whole frame"},
    };
    for (const auto& [arguments, says] : cases) {
        EXPECT_EQ(1, play(arguments)) << arguments;
        EXPECT_THAT(err, HasSubstr("lumetra-play: ")) << arguments;
        EXPECT_THAT(err, HasSubstr(says)) << arguments;
    }
}
