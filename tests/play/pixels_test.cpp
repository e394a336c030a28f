// pixels_test.cpp - the smaller levels that are pushed, and what must become of all of them. The expected
// values are worked out by hand.
#include <gtest/gtest.h>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/pixels/pixel_check.h"

namespace {

Bytes chainOf(const Picture& picture, Bytes frame) {
    appendLevels(picture, frame);
    return frame;
}

TEST(PyramidChain, AveragesFourPixelsRoundedAndLeavesOutOddEdges) {
    const Bytes grey = chainOf({LUMETRA_IMGFORMAT_GRAY8, 5, 3}, {1, 2, 10, 20, 99,  //
                                                                 3, 4, 30, 41, 99,  //
                                                                 99, 99, 99, 99, 99});
    ASSERT_EQ(15u + 2, grey.size());  // 2x1 behind 5x3, then 1x0 and nothing more
    EXPECT_EQ((Bytes{3, 25}), Bytes(grey.begin() + 15, grey.end()));

    const Bytes bgra = chainOf({LUMETRA_IMGFORMAT_BGRA, 2, 2}, {0, 10, 20, 30, 4, 10, 20, 30,  //
                                                                8, 10, 20, 30, 9, 10, 22, 30});
    EXPECT_EQ((Bytes{5, 10, 21, 30}), Bytes(bgra.begin() + 16, bgra.end()));
}

TEST(PyramidChain, LaysEightLevelsRightBehindEachOther) {
    const Picture picture{LUMETRA_IMGFORMAT_BGRA, 640, 480};
    EXPECT_EQ(1'228'800u, picture.offset(1));
    EXPECT_EQ(1'228'800u + 307'200, picture.offset(2));
    EXPECT_EQ(280u, picture.offset(7) - picture.offset(6));
    EXPECT_EQ(picture.offset(7) + 5 * 3 * 4, chainOf(picture, Bytes(picture.bytes())).size());
}

// Of a frame with flags, level by level, without the empty ones at the end.
using Levels = std::vector<Bytes>;

Levels expectedOf(const Picture& picture, const Bytes& pushed, std::int32_t flags, bool pyramid) {
    Levels levels = expectedLevels(picture, pushed, flags, pyramid);
    while (!levels.empty() && levels.back().empty()) levels.pop_back();
    return levels;
}

TEST(ExpectedPixels, WeighTheChannelsByTheirPlace) {
    const Bytes red = {255, 0, 0, 255};
    const auto single = [](LUMETRA_IMGFORMATTYPE format, const Bytes& pixel) {
        return expectedOf({format, 1, 1}, pixel, LUMETRA_CONVERT_GRAY, false);
    };
    EXPECT_EQ(Levels{{76}}, single(LUMETRA_IMGFORMAT_RGB, red));
    EXPECT_EQ(Levels{{29}}, single(LUMETRA_IMGFORMAT_BGR, red));
    EXPECT_EQ(Levels{{29}}, single(LUMETRA_IMGFORMAT_BGRA, red));
    EXPECT_EQ(Levels{{149}}, single(LUMETRA_IMGFORMAT_BGR, {0, 255, 0}));
    EXPECT_EQ(Levels{{255}}, single(LUMETRA_IMGFORMAT_RGB, {255, 255, 255}));
}

TEST(ExpectedPixels, FollowFlagsFormatByFormat) {
    const Picture grey{LUMETRA_IMGFORMAT_GRAY8, 2, 2}, rgb{LUMETRA_IMGFORMAT_RGB, 1, 2},
        small{LUMETRA_IMGFORMAT_RGB, 2, 2};
    const Bytes greyFrame = {1, 2, 3, 4, 9};
    EXPECT_EQ((Levels{{1, 2, 3, 4}, {9}}), expectedOf(grey, greyFrame, 3, true));
    EXPECT_EQ((Levels{{3, 4, 1, 2}, {9}}), expectedOf(grey, greyFrame, 7, true));
    EXPECT_EQ((Levels{{1, 2, 3, 4}, {9}}), expectedOf(grey, greyFrame, 6, true));
    EXPECT_EQ((Levels{{1, 2, 3, 4}}), expectedOf(grey, greyFrame, 3, false));
    EXPECT_EQ((Levels{{76, 29}}), expectedOf(rgb, {255, 0, 0, 0, 0, 255}, 1, false));
    EXPECT_EQ((Levels{{29, 76}}), expectedOf(rgb, {255, 0, 0, 0, 0, 255}, 5, false));
    Bytes colour(15, 255);  // white, and one red pixel behind it
    colour[13] = colour[14] = 0;
    EXPECT_EQ((Levels{{255, 255, 255, 255}, {76}}), expectedOf(small, colour, 7, true));
    EXPECT_EQ((Levels{{255, 255, 255, 255}, {255}}),
              expectedOf(small, colour, 1, true));  // pushed, not converted
}

TEST(ExpectedPixels, TakePackedLumaInPairsAndNeverFlipIt) {
    const Picture picture{LUMETRA_IMGFORMAT_YUYV, 3, 1};
    const Bytes frame = {10, 1, 20, 2, 30, 3};
    EXPECT_EQ((Levels{{10, 20, 20}}), expectedOf(picture, frame, 1, false));  // the odd one keeps its byte
    EXPECT_EQ((Levels{{10, 1, 20}}), expectedOf(picture, frame, 5, false));
    EXPECT_EQ((Levels{{10, 20, 30, 40}, {7}}),
              expectedOf({LUMETRA_IMGFORMAT_YUYV, 2, 2}, {10, 1, 20, 2, 30, 3, 40, 4, 7, 8}, 3, true));
}

TEST(PixelCheck, CountsEveryFrameOnceAndNamesTheFirstDifference) {
    PixelCheck check;
    const auto digests = [](int level0, int level1) {
        return LevelDigests{std::to_string(level0), std::to_string(level1)};
    };
    for (int frame = 0; frame < 4; ++frame) check.expect(frame, digests(1, 2));
    check.found(0, digests(1, 2));
    check.found(0, digests(1, 2));
    EXPECT_EQ(0u, check.result().differ);
    check.found(2, digests(1, 3));
    check.found(2, digests(1, 3));
    check.found(1, LevelDigests{});
    check.found(0, digests(4, 2));  // a later report of the same frame counts too
    EXPECT_EQ(3u, check.result().checked);
    EXPECT_EQ(3u, check.result().differ);
    EXPECT_EQ("frame 2, level 1", check.result().firstDifference);
    check.found(99, digests(1, 2));
    EXPECT_EQ(4u, check.result().differ);
}

std::vector<Bytes> sceneFrames(LUMETRA_IMGFORMATTYPE format, std::size_t count) {
    Options options;
    options.format = format;
    options.size = {41, 30};
    const StopRequest stop;
    const auto scene = openSource(options, stop);
    std::vector<Bytes> frames(count);
    double time = 0;
    for (Bytes& frame : frames) EXPECT_TRUE(scene->read(frame, time));
    return frames;
}

TEST(SceneSource, MovesAndIsTheSameEveryTime) {
    const auto frames = sceneFrames(LUMETRA_IMGFORMAT_BGR, 2);
    EXPECT_EQ(41u * 30 * 3, frames[0].size());
    EXPECT_NE(frames[0], frames[1]);
    EXPECT_EQ(frames, sceneFrames(LUMETRA_IMGFORMAT_BGR, 2));
}

TEST(SceneSource, IsTheSamePictureInEveryFormat) {
    const auto frameOf = [](LUMETRA_IMGFORMATTYPE format) { return sceneFrames(format, 1)[0]; };
    const Bytes rgb = frameOf(LUMETRA_IMGFORMAT_RGB), bgr = frameOf(LUMETRA_IMGFORMAT_BGR),
                bgra = frameOf(LUMETRA_IMGFORMAT_BGRA), grey = frameOf(LUMETRA_IMGFORMAT_GRAY8),
                yuyv = frameOf(LUMETRA_IMGFORMAT_YUYV);
    for (std::size_t k = 0; k < grey.size(); ++k) {
        const double r = rgb[3 * k], g = rgb[3 * k + 1], b = rgb[3 * k + 2];
        const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
        ASSERT_EQ((Bytes{rgb[3 * k + 2], rgb[3 * k + 1], rgb[3 * k]}),
                  Bytes(bgr.begin() + static_cast<std::ptrdiff_t>(3 * k),
                        bgr.begin() + static_cast<std::ptrdiff_t>(3 * k + 3)));
        ASSERT_EQ(255, bgra[4 * k + 3]);
        ASSERT_EQ(rgb[3 * k], bgra[4 * k + 2]);
        ASSERT_NEAR(luma, grey[k], 1);
        ASSERT_NEAR(16 + luma * 219 / 255, yuyv[2 * k], 2);
        ASSERT_NEAR(
            128 + 0.877 * 0.5 / 0.615 * (k % 41 % 2 == 0 ? (b - luma) * 0.564 / 0.713 : r - luma) * 224 / 255,
            yuyv[2 * k + 1], 3)
            << k;
    }
}

}  // namespace
