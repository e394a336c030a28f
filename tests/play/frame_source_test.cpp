// frame_source_test.cpp - files to frames: raw video, Y4M and Netpbm, good ones and hostile ones.
#include "tools/lumetra-play/inputs/frame_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/play/temporary_folder.h"
#include "tools/lumetra-play/inputs/scene_source.h"
#include "tools/lumetra-play/inputs/y4m_source.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

using testing::HasSubstr;

struct Played {
    Picture picture;
    std::vector<Bytes> frames;
    std::string remark;
};

Played playAll(const Options& options) {
    const LibraryTable library = linkedLibrary();
    const StopRequest stop;
    const auto source = openSource(options, library, stop);
    Played played{source->picture(), {}, {}};
    Bytes frame;
    while (source->read(frame)) played.frames.push_back(frame);
    played.remark = source->remark();
    return played;
}

// The message with which the input is refused; empty if it is played.
std::string refusal(const Options& options) {
    try {
        playAll(options);
        return {};
    } catch (const PlayError& error) {
        return error.what();
    }
}

class FrameSources : public testing::Test {
protected:
    Options input(const std::string& content, const std::string& name = "clip") {
        Options options;
        options.inputs = {folder.write(name, content)};
        return options;
    }

    TemporaryFolder folder;
};

TEST_F(FrameSources, CutRawVideoIntoFramesAndTellOfACutOffEnd) {
    Options options = input("abcdefABCDEFxyz");
    options.size = {2, 1};
    options.format = LUMETRA_IMGFORMAT_RGB;
    const Played played = playAll(options);
    EXPECT_EQ((std::vector<Bytes>{{'a', 'b', 'c', 'd', 'e', 'f'}, {'A', 'B', 'C', 'D', 'E', 'F'}}),
              played.frames);
    EXPECT_THAT(played.remark, HasSubstr("after 3 of 6 bytes"));
}

TEST_F(FrameSources, PackY4mOfEverySamplingAndWidth) {
    struct Case {
        const char *header, *planes;
        LUMETRA_IMGFORMATTYPE format;
        const char* packed;
    };
    const Case cases[] = {
        {"W4 H1 F30:1 Ip C422", "abcdUWVX", LUMETRA_IMGFORMAT_YUYV, "aUbVcWdX"},
        {"H2 W3 C422 XCOLORRANGE=FULL", "abcdefUWuwVXvx", LUMETRA_IMGFORMAT_YUYV, "aUbVcWduevfw"},
        {"W4 H1 C444", "abcd\x10\x21\x30\x32\x40\x42\x50\x53", LUMETRA_IMGFORMAT_YUYV,
         "a\x19"
         "bAc1dR"},
        {"W3 H1 I? C444", "abc\x10\x20\x55\x40\x42\x66", LUMETRA_IMGFORMAT_YUYV,
         "a\x18"
         "bAcU"},
        {"W3 H1 F25:1 Cmono", "abc", LUMETRA_IMGFORMAT_GRAY8, "abc"},
    };
    for (const Case& test : cases) {
        const std::string planes = test.planes;
        const std::string frame = "FRAME\n" + planes;
        const Played played = playAll(
            input("YUV4MPEG2 " + std::string(test.header) + "\n" + frame + "FRAME Xany=thing\n" + planes));
        EXPECT_EQ(test.format, played.picture.format) << test.header;
        ASSERT_EQ(2u, played.frames.size()) << test.header;
        for (const Bytes& pushed : played.frames)
            EXPECT_EQ(test.packed, std::string(pushed.begin(), pushed.end())) << test.header;
        EXPECT_EQ("", played.remark);
    }
}

TEST_F(FrameSources, RefuseY4mThatCannotBePlayedWithAWayOut) {
    struct Case {
        std::string header;
        const char* says;
    };
    const Case cases[] = {
        {"W4 H4", "-pix_fmt yuv422p"},
        {"W4 H4 C420jpeg", "-pix_fmt yuv422p"},
        {"W4 H4 C422p10", "-pix_fmt yuv422p"},
        {"W4 H4 C444p16", "-pix_fmt yuv444p"},
        {"W4 H4 C444alpha", "-pix_fmt yuv444p"},
        {"W4 H4 Cmono16", "-pix_fmt gray"},
        {"W4 H4 C\x1b[2J", "??2J"},
        {"W4 H4 It C422", "yadif"},
        {"W4 H4 Im C422", "yadif"},
        {"H4 C422", "empty"},
        {"W0 H4 C422", "width"},
        {"W-4 H4 C422", "width"},
        {"W4 H4x C422", "height"},
        {"W99999999999999999999 H4 C422", "width"},
        {"W2147483647 H2147483647 C422", "too large"},
        {"W32768 H32768 Cmono C422", "too large"},
        {"W4 H4 F30:0 C422", "frame rate"},
        {"W4 H4 F:1 C422", "frame rate"},
    };
    for (const Case& test : cases)
        EXPECT_THAT(refusal(input("YUV4MPEG2 " + test.header + "\nFRAME\n")), HasSubstr(test.says))
            << test.header;
    EXPECT_THAT(refusal(input("YUV4MPEG2xW4 H4\n")), HasSubstr("damaged"));
    EXPECT_THAT(refusal(input("YUV4MPEG2 W4 H4 C422")), HasSubstr("no end"));
    EXPECT_THAT(refusal(input("YUV4MPEG2 W4 H4 C422 X" + std::string(100'000, 'x') + "\n")),
                HasSubstr("no end"));
    const std::string mono = "YUV4MPEG2 W2 H1 Cmono\nFRAME\nab";
    EXPECT_THAT(refusal(input(mono + "frame\nab")), HasSubstr("frame 1"));
    EXPECT_THAT(refusal(input(mono + "FRAMED\nab")), HasSubstr("frame 1"));
    EXPECT_THAT(refusal(input(mono + "FRAME " + std::string(100'000, 'x') + "\nab")), HasSubstr("frame 1"));
}

TEST_F(FrameSources, PlayY4mUpToACutOffEnd) {
    const std::string whole = "YUV4MPEG2 W2 H1 F30000:1001 Cmono\nFRAME\nab";
    for (const char* rest : {"F", "FRAME", "FRAME\n", "FRAME\na"}) {
        const Played played = playAll(input(whole + rest));
        EXPECT_EQ(1u, played.frames.size()) << rest;
        EXPECT_THAT(played.remark, HasSubstr("cut off")) << rest;
    }
    EXPECT_NEAR(29.97, parseY4mHeader("YUV4MPEG2 W2 H1 F30000:1001 Cmono").framesPerSecond, 0.001);
    EXPECT_EQ(0, parseY4mHeader("YUV4MPEG2 W2 H1 F0:0 Cmono").framesPerSecond);
}

TEST_F(FrameSources, ReadPicturesOfOneKindAndSize) {
    Options options = input("P6\n1 2\n255\nabcdef", "a.ppm");
    options.inputs.push_back(folder.write("b.PPM", "P6\n1 2\n255\nghijkl"));
    const Played played = playAll(options);
    EXPECT_EQ((Picture{LUMETRA_IMGFORMAT_RGB, 1, 2}), played.picture);
    EXPECT_EQ((std::vector<Bytes>{{'a', 'b', 'c', 'd', 'e', 'f'}, {'g', 'h', 'i', 'j', 'k', 'l'}}),
              played.frames);

    options.inputs.push_back(folder.write("c.ppm", "P6\n2 2\n255\nabcdefabcdef"));
    EXPECT_THAT(refusal(options), HasSubstr("first picture"));
    EXPECT_THAT(refusal(input("P2\n1 1\n255\n7", "d.pgm")), HasSubstr("not a raw 8-bit PGM"));
    EXPECT_THAT(refusal(input("P5\n-2 -2\n255\nabcd", "e.pgm")), HasSubstr("empty"));
}

TEST_F(FrameSources, RefuseInputsThatDoNotFitTheOptions) {
    Options options = input("abc");
    EXPECT_THAT(refusal(options), HasSubstr("--size WxH and --format"));
    options.size = {3, 1};
    options.format = LUMETRA_IMGFORMAT_YUYV;
    EXPECT_THAT(refusal(options), HasSubstr("even width"));
    options.inputs = {folder.file("missing")};
    EXPECT_THAT(refusal(options), HasSubstr("cannot open"));
    options.inputs = {std::filesystem::temp_directory_path().string()};
    EXPECT_THAT(refusal(options), HasSubstr("folder"));
    options.inputs = {"a.pgm", "b.y4m"};
    EXPECT_THAT(refusal(options), HasSubstr("several inputs"));

    Options clip = input("YUV4MPEG2 W2 H1 Cmono\nFRAME\nab");
    clip.size = {4, 4};
    EXPECT_THAT(refusal(clip), HasSubstr("--size"));
    clip.size.reset();
    clip.format = LUMETRA_IMGFORMAT_RGB;
    EXPECT_THAT(refusal(clip), HasSubstr("--format"));
}

TEST(SceneSource, MovesAndRepeatsItselfInEveryFormat) {
    for (const auto format : {LUMETRA_IMGFORMAT_RGB, LUMETRA_IMGFORMAT_BGR, LUMETRA_IMGFORMAT_BGRA,
                              LUMETRA_IMGFORMAT_YUYV, LUMETRA_IMGFORMAT_GRAY8}) {
        SceneSource scene({format, 33, 17});
        Bytes first, second, again;
        scene.read(first);
        scene.read(second);
        scene.rewind();
        scene.read(again);
        EXPECT_EQ(scene.picture().bytes(), first.size());
        EXPECT_NE(first, second);
        EXPECT_EQ(first, again);
    }
}

}  // namespace
