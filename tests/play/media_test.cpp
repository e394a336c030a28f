// media_test.cpp - what FFmpeg's libraries bring in, held against what the ffmpeg program makes of the same
// clip.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <thread>

#include "tests/support/temporary_folder.h"
#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct Played {
    SourceFacts facts;
    Picture picture;
    std::vector<Bytes> frames;
    std::vector<double> times;
    std::string remark, error;
};

class Media : public testing::Test {
protected:
    // Makes a file by ffmpeg; options between the test picture and the name.
    std::string make(const std::string& name, const std::string& picture, const std::string& options) {
        ffmpeg("-f lavfi -i testsrc2=" + picture + " " + options + " " + folder.file(name));
        return folder.file(name);
    }
    void ffmpeg(const std::string& arguments) {
        const std::string command = "ffmpeg -nostdin -v error -y " + arguments;
        EXPECT_EQ(0, std::system(command.c_str())) << command;
    }
    // What ffmpeg makes of the clip's pictures, one behind the other.
    std::string decoded(const std::string& clip, const std::string& options) {
        ffmpeg("-i '" + clip + "' " + options + " -vsync passthrough -f rawvideo " + folder.file("decoded"));
        return folder.read("decoded");
    }

    Played playAll(const std::string& clip, Options options = {}, std::size_t limit = 1000) {
        const StopRequest stop;
        options.inputs.insert(options.inputs.begin(), clip);
        const auto source = openSource(options, stop);
        Played played{source->facts(), source->picture(), {}, {}, {}, {}};
        Bytes frame;
        double time = 0;
        while (played.frames.size() < limit && source->read(frame, time)) {
            played.frames.push_back(frame);
            played.times.push_back(time);
        }
        played.remark = source->facts().remark;
        played.error = source->facts().error;
        return played;
    }
    std::string refusal(const std::string& clip, const Options& options = {}) {
        try {
            return "played, " + playAll(clip, options).remark;
        } catch (const PlayError& error) {
            return error.what();
        }
    }

    TemporaryFolder folder;
};

double meanDifference(const std::vector<Bytes>& frames, const std::string& expected) {
    std::size_t at = 0;
    double sum = 0;
    for (const Bytes& frame : frames)
        for (const std::uint8_t byte : frame)
            sum += at < expected.size() ? std::abs(byte - static_cast<unsigned char>(expected[at++])) : 255;
    return at == expected.size() && at > 0 ? sum / static_cast<double>(at) : 255;
}

TEST_F(Media, OfEveryKindComesAsFfmpegDecodesIt) {
    struct Case {
        const char *name, *picture, *codec;
        LUMETRA_IMGFORMATTYPE cheapest;
        const char* pixels;  // FFmpeg's name of the cheapest format
    };
    const Case cases[] = {
        {"a.mp4", "size=98x62:rate=25", "-c:v libx264 -bf 2", LUMETRA_IMGFORMAT_RGB, "rgb24"},
        {"a.avi", "size=98x62:rate=25", "-c:v mpeg4", LUMETRA_IMGFORMAT_RGB, "rgb24"},
        {"a.mov", "size=98x62:rate=25", "-c:v mjpeg", LUMETRA_IMGFORMAT_RGB, "rgb24"},
        {"ten.mkv", "size=98x62:rate=25", "-c:v ffv1 -pix_fmt yuv422p10le", LUMETRA_IMGFORMAT_RGB, "rgb24"},
        {"odd.mkv", "size=98x62:rate=25", "-vf scale=97:61 -c:v ffv1 -pix_fmt yuv444p", LUMETRA_IMGFORMAT_RGB,
         "rgb24"},
        {"deep.mkv", "size=98x62:rate=25", "-vf scale=97:61 -c:v ffv1 -pix_fmt gray16le",
         LUMETRA_IMGFORMAT_GRAY8, "gray"},
        {"grey.y4m", "size=98x62:rate=25", "-pix_fmt gray", LUMETRA_IMGFORMAT_GRAY8, "gray"},
        {"packed.avi", "size=98x62:rate=25", "-c:v rawvideo -pix_fmt yuyv422", LUMETRA_IMGFORMAT_YUYV,
         "yuyv422"},
        {"bgra.mkv", "size=98x62:rate=25", "-c:v ffv1 -pix_fmt bgra", LUMETRA_IMGFORMAT_BGRA, "bgra"},
        {"palette.gif", "size=98x62:rate=25", "", LUMETRA_IMGFORMAT_BGRA, "bgra"},
        {"p%02d.pgm", "size=98x62:rate=25", "-pix_fmt gray", LUMETRA_IMGFORMAT_GRAY8, "gray"},
        {"bare.mjpeg", "size=98x62:rate=25", "-f mjpeg", LUMETRA_IMGFORMAT_RGB, "rgb24"},
        {"slow.gif", "size=98x62:rate=25", "-vf setpts=PTS*40 -vsync vfr -final_delay 200",
         LUMETRA_IMGFORMAT_BGRA, "bgra"},
    };
    for (const Case& test : cases) {
        const std::string clip = make(test.name, test.picture, std::string("-frames:v 8 ") + test.codec);
        const Played played = playAll(clip);
        EXPECT_EQ(test.cheapest, played.picture.format) << test.name;
        EXPECT_EQ(8u, played.frames.size()) << test.name;
        EXPECT_EQ("", played.remark) << test.name;
        EXPECT_LT(meanDifference(played.frames, decoded(clip, std::string("-pix_fmt ") + test.pixels)), 0.5)
            << test.name;
    }
}

TEST_F(Media, GoesIntoEveryFormatAndAnySize) {
    const std::string clip = make("a.mkv", "size=98x62:rate=25", "-frames:v 3 -c:v ffv1 -pix_fmt rgb24");
    for (const auto& [format, pixels] : {std::pair{LUMETRA_IMGFORMAT_RGB, "rgb24"},
                                         {LUMETRA_IMGFORMAT_BGR, "bgr24"},
                                         {LUMETRA_IMGFORMAT_BGRA, "bgra"},
                                         {LUMETRA_IMGFORMAT_YUYV, "yuyv422"},
                                         {LUMETRA_IMGFORMAT_GRAY8, "gray"}}) {
        Options options;
        options.format = format;
        options.size = {50, 40};
        const std::string expected = decoded(clip, std::string("-vf scale=50:40 -pix_fmt ") + pixels);
        EXPECT_LT(meanDifference(playAll(clip, options).frames, expected), 1.0) << pixels;
    }
}

TEST_F(Media, GivesItsLumaPlaneToGreyUnchanged) {
    Options grey;
    grey.format = LUMETRA_IMGFORMAT_GRAY8;
    for (const char* pixels : {"yuv420p", "nv12", "yuv444p"}) {
        const std::string clip =
            make("a.nut", "size=97x61:rate=25", std::string("-frames:v 2 -c:v rawvideo -pix_fmt ") + pixels);
        const Played played = playAll(clip, grey);
        EXPECT_THAT(played.facts.conversion, HasSubstr("Y plane without a conversion")) << pixels;
        const std::string planes = decoded(clip, std::string("-pix_fmt ") + pixels);
        ASSERT_EQ(2u, played.frames.size());
        const std::size_t each = planes.size() / 2;
        for (std::size_t k = 0; k < 2; ++k)
            EXPECT_EQ(0, planes.compare(k * each, played.frames[k].size(),
                                        std::string(played.frames[k].begin(), played.frames[k].end())))
                << pixels;
    }
}

// Neither the matrix nor the range of the luma changes on the way to fewer bits.
TEST_F(Media, KeepsItsLumaWhenItsDepthShrinks) {
    Options grey;
    grey.format = LUMETRA_IMGFORMAT_GRAY8;
    const std::string clip = make("a.nut", "size=96x64", "-frames:v 1 -c:v rawvideo -pix_fmt yuv420p10le");
    const std::string planes = decoded(clip, "-pix_fmt yuv420p10le");
    std::string luma;
    for (std::size_t k = 0; k < 96 * 64; ++k) {
        const int low = static_cast<unsigned char>(planes[2 * k]), high = planes[2 * k + 1];
        luma += static_cast<char>((high << 8 | low) >> 2);
    }
    EXPECT_LT(meanDifference(playAll(clip, grey).frames, luma), 0.8);
}

TEST_F(Media, StandsUprightHoweverThePhoneWasHeld) {
    const std::string flat = make("flat.mp4", "size=96x64:rate=25", "-frames:v 2 -c:v libx264 -qp 10");
    for (const char* degrees : {"90", "180", "270"}) {
        const std::string clip = folder.file("turned.mp4");
        ffmpeg("-i " + flat + " -c copy -metadata:s:v rotate=" + degrees + " " + clip);
        const Played played = playAll(clip);
        EXPECT_NE(0, played.facts.rotation);
        EXPECT_LT(meanDifference(played.frames, decoded(clip, "-pix_fmt rgb24")), 1.0) << degrees;
    }
}

TEST_F(Media, KeepsItsOwnTimesAndBeginsWhereItIsTold) {
    // Every third frame is missing, so that the pauses are one and two periods in turn.
    const std::string clip = make("vfr.mkv", "size=32x32:rate=20",
                                  "-frames:v 12 -vf select='mod(n\\,3)' -vsync vfr -c:v libx264 -g 4");
    const Played played = playAll(clip);
    ASSERT_GE(played.times.size(), 6u);
    for (std::size_t k = 1; k < played.times.size(); ++k)
        EXPECT_NEAR(k % 2 == 1 ? 0.05 : 0.10, played.times[k] - played.times[k - 1], 0.002) << k;

    Options late;
    late.start = played.times[5] - 0.01;
    const Played rest = playAll(clip, late);
    EXPECT_EQ(std::vector(played.frames.begin() + 5, played.frames.end()), rest.frames);
    late.start = 99;
    EXPECT_THAT(refusal(clip, late), HasSubstr("--start"));

    Options again;
    again.loop = true;
    const Played looped = playAll(clip, again, played.frames.size() + 2);
    EXPECT_EQ(played.frames[1], looped.frames.back());
    EXPECT_GT(looped.times[played.frames.size()], played.times.back());
}

TEST_F(Media, BeginsAtTheVeryPictureInContainersThatSeekLate) {
    for (const char* name : {"a.ts", "a.mpg", "a.mkv"}) {
        const std::string clip = make(name, "size=64x48:rate=25", "-t 8 -c:v mpeg2video -g 50 -bf 2 -b:v 2M");
        const Played played = playAll(clip);
        ASSERT_EQ(200u, played.frames.size()) << name;
        for (const std::size_t frame : {10u, 60u, 123u, 199u}) {
            Options late;
            late.start = played.times[frame] - played.times[0] - 0.01;
            const Played rest = playAll(clip, late);
            EXPECT_EQ(200 - frame, rest.frames.size()) << name;
            EXPECT_EQ(played.frames[frame], rest.frames.at(0)) << name << ", frame " << frame;
            EXPECT_EQ("", rest.remark) << name;
        }
    }
}

TEST_F(Media, ThatIsMissingIsNamedBeforeOrAfterTheOthersHaveBeenPlayed) {
    const std::string clip = make("a.png", "size=64x48", "-frames:v 1");
    Options options;
    options.inputs = {"/nowhere/b.png"};
    EXPECT_THAT(refusal(clip, options), HasSubstr("/nowhere/b.png (No such file"));
    options.inputs = {folder.write("words.txt", "no clip")};
    const Played played = playAll(clip, options);
    EXPECT_EQ(1u, played.frames.size());
    EXPECT_THAT(played.error, HasSubstr("words.txt"));
}

TEST_F(Media, FollowsOneAnotherInOnePicture) {
    const std::string first = make("a.png", "size=64x48", "-frames:v 1");
    Options options;
    options.inputs = {make("b.jpg", "size=32x24", "-frames:v 1"), first};
    const Played played = playAll(first, options);
    ASSERT_EQ(3u, played.frames.size());
    EXPECT_EQ(played.frames[0], played.frames[2]);
    EXPECT_EQ(played.frames[0].size(), played.frames[1].size());
    EXPECT_LT(played.times[1], played.times[2]);
}

TEST_F(Media, CutOffIsPlayedAsFarAsItGoesAndSaidSo) {
    const std::string moved = " -movflags +faststart";
    const std::pair<std::string, std::string> cases[] = {{"a.avi", "-c:v mpeg4"},
                                                         {"a.mkv", "-c:v ffv1"},
                                                         {"a.y4m", "-pix_fmt yuv420p"},
                                                         {"a.mp4", "-c:v libx264 -qp 2 -g 5" + moved}};
    for (const auto& [name, options] : cases) {
        const std::string clip = make(name, "size=64x48:rate=10", "-t 3 " + options);
        const std::string bytes = folder.read(name);
        const Played played = playAll(folder.write("cut_" + name, bytes.substr(0, bytes.size() * 6 / 10)));
        EXPECT_LT(played.frames.size(), 29u) << name;
        EXPECT_GT(played.frames.size(), 5u) << name;
        EXPECT_THAT(played.remark, HasSubstr("cut off")) << name;
        EXPECT_EQ("", playAll(clip).remark) << name;
    }
    const std::string bytes = folder.read("a.mp4");
    EXPECT_THAT(refusal(folder.write("index.mp4", bytes.substr(0, 200))), HasSubstr("cut off"));
}

TEST_F(Media, RawIsCutIntoFramesUnlessItIsAContainer) {
    Options options;
    options.raw = "nv12";
    options.size = {32, 16};
    options.format = LUMETRA_IMGFORMAT_GRAY8;
    const std::string clip = make("a.raw", "size=32x16", "-frames:v 3 -f rawvideo -pix_fmt nv12");
    const std::string bytes = folder.read("a.raw");
    const Played played = playAll(folder.write("more.raw", bytes + "rest"), options);
    ASSERT_EQ(3u, played.frames.size());
    EXPECT_EQ(bytes.substr(0, 512), std::string(played.frames[0].begin(), played.frames[0].end()));
    EXPECT_THAT(played.remark, HasSubstr("cut off"));

    for (const auto& [name, codec] :
         {std::pair("a.mp4", ""), {"a.mkv", ""}, {"a.avi", ""}, {"a.png", "-frames:v 1"}})
        EXPECT_THAT(refusal(make(name, "size=32x16:duration=1", codec), options),
                    HasSubstr("is not raw video"));
    options.raw = "nv99";
    EXPECT_THAT(refusal(clip, options), HasSubstr("--raw nv99"));
}

TEST_F(Media, ThatCannotBePlayedIsRefusedInOneLineThatSaysWhatToDo) {
    ffmpeg("-f lavfi -i sine=duration=1 " + folder.file("sound.wav"));
    std::string words = "Not a clip.\n";
    for (int k = 0; k < 8; ++k) words += words;
    Options lavfi;
    lavfi.inputFormat = "lavfi";
    Options unknown;
    unknown.inputFormat = "nonsense";
    const std::pair<std::string, std::string> cases[] = {
        {refusal(folder.file("sound.wav")), "holds no video"},
        {refusal(folder.write("words.txt", words)), "--raw"},
        {refusal(folder.write("noise.bin", std::string(5000, '\xa5'))), "--raw"},
        {refusal(folder.write("nothing.mp4", "")), "cut off"},
        {refusal(folder.file("missing.mp4")), "No such file"},
        {refusal(folder.file("")), "is a folder"},
        {refusal("nonsense://host/clip"), "does not know how"},
        {refusal("http://127.0.0.1:1/clip.mp4"), "Connection refused"},
        {refusal("nonsense", lavfi), "No such filter"},
        {refusal("clip", unknown), "--input-format"},
    };
    for (const auto& [message, says] : cases) {
        EXPECT_THAT(message, HasSubstr(says));
        EXPECT_THAT(message, Not(HasSubstr("\n")));
    }
}

TEST_F(Media, ComesThroughAPipeAtTheWritersPace) {
    ASSERT_EQ(0, mkfifo(folder.file("pipe").c_str(), 0600));
    const std::string clip = make("a.mkv", "size=64x48:rate=25", "-frames:v 9 -c:v ffv1");
    std::thread writer([&] { std::system(("cat " + clip + " >" + folder.file("pipe")).c_str()); });
    const Played played = playAll(folder.file("pipe"));
    writer.join();
    EXPECT_EQ(9u, played.frames.size());
    EXPECT_EQ("", played.remark);
}

}  // namespace
