// Expected pixels are worked out here from the pushed bytes, picture by picture, never in place.
#include "image/conversion.h"

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "image/frame_buffers.h"
#include "image/intake.h"
#include "image/level_dump.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"
#include "tests/support/configurations.h"
#include "tests/support/frames.h"
#include "tests/support/temporary_folder.h"

using namespace lumetra;
using testing::ElementsAre;

namespace {

constexpr int GRAY = LUMETRA_CONVERT_GRAY, PYRAMID = LUMETRA_CONVERT_PYRAMID;
constexpr int FLIP = LUMETRA_CONVERT_FLIPVERTICAL, DUMP = LUMETRA_CONVERT_DEBUGDUMP;

int convert(IChnk& chunk, int flags, bool mipMap) {
    const auto modifiers = static_cast<LUMETRA_CONVERSIONMODIFIER>(flags);
    const ConversionPlan plan = planConversion(chunk, modifiers, mipMap);
    convert(chunk, plan);
    return plan.unsupportedSteps;
}

Bytes level(const IChnk& chunk, int k) {
    const auto pixels = static_cast<std::size_t>((chunk.width >> k) * (chunk.height >> k));
    return {chunk.data->lvl[k], chunk.data->lvl[k] + pixels};
}

Bytes expectedPicture(const std::uint8_t* src, int width, int height, LUMETRA_IMGFORMATTYPE format,
                      bool flip) {
    Bytes grey;
    for (int row = 0; row < height; ++row) {
        const int y = flip ? height - 1 - row : row;
        for (int x = 0; x < width; ++x) {
            const auto i = static_cast<std::size_t>(y * width + x);
            if (format == LUMETRA_IMGFORMAT_YUYV || format == LUMETRA_IMGFORMAT_GRAY8) {
                grey.push_back(src[format == LUMETRA_IMGFORMAT_YUYV ? 2 * i : i]);
                continue;
            }
            const std::uint8_t* const pixel = src + (format == LUMETRA_IMGFORMAT_BGRA ? 4 : 3) * i;
            const int red = format == LUMETRA_IMGFORMAT_RGB ? 0 : 2;
            grey.push_back(expectedGrey(pixel[red], pixel[1], pixel[2 - red]));
        }
    }
    return grey;
}

Bytes expectedDerived(const Bytes& above, int width, int height) {
    Bytes grey;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            grey.push_back(above[static_cast<std::size_t>(2 * y * 2 * width + 2 * x)]);
    return grey;
}

IChnk chunkOfPushed(int width, int height, int format, const Bytes& pushed, bool hasLevels) {
    ICfg cfg = configurationOf(width, height, format);
    cfg.mipMap = hasLevels;
    return *pushedChunk({pushed.data(), static_cast<int>(pushed.size()), "", 0}, cfg,
                        *std::make_shared<FrameBuffers>());
}

constexpr LUMETRA_IMGFORMATTYPE COLOURS[] = {LUMETRA_IMGFORMAT_RGB, LUMETRA_IMGFORMAT_BGR,
                                             LUMETRA_IMGFORMAT_BGRA};

}  // namespace

TEST(Conversion, TurnsSuppliedColourLevelsGreyAndFlipsEach) {
    const std::pair<int, int> sizes[] = {{1, 1}, {64, 48}, {37, 21}, {130, 3}, {3, 130}, {256, 256}};
    for (const auto format : COLOURS)
        for (const auto& [width, height] : sizes)
            for (const int flags : {GRAY, GRAY | PYRAMID, GRAY | FLIP, GRAY | PYRAMID | FLIP}) {
                const Bytes pushed = randomBytes(
                    static_cast<std::size_t>(pyramidBytes(pictureBytes(format, width, height))), 3);
                IChnk chunk = chunkOfPushed(width, height, format, pushed, true);
                EXPECT_EQ(0, convert(chunk, flags, true));
                EXPECT_EQ(LUMETRA_IMGFORMAT_GRAY8, chunk.format);
                for (int k = 0; k < (flags & PYRAMID ? 8 : 1); ++k) {
                    const auto* const src = pushed.data() + (chunk.data->lvl[k] - chunk.data->lvl[0]);
                    ASSERT_EQ(expectedPicture(src, width >> k, height >> k, format, (flags & FLIP) != 0),
                              level(chunk, k))
                        << width << "x" << height << " format " << format << " flags " << flags << " level "
                        << k;
                }
                if (!(flags & PYRAMID) && width > 1 && height > 1) {
                    const auto* const src = pushed.data() + (chunk.data->lvl[1] - chunk.data->lvl[0]);
                    EXPECT_TRUE(std::equal(src, pushed.data() + pushed.size(), chunk.data->lvl[1]));
                }
            }
}

TEST(Conversion, DerivesLevelsWhereNoneWereSupplied) {
    const std::pair<int, int> sizes[] = {{1, 1}, {5, 4}, {64, 48}, {37, 21}, {1, 300}};
    const LUMETRA_IMGFORMATTYPE formats[] = {LUMETRA_IMGFORMAT_RGB, LUMETRA_IMGFORMAT_BGR,
                                             LUMETRA_IMGFORMAT_BGRA, LUMETRA_IMGFORMAT_YUYV,
                                             LUMETRA_IMGFORMAT_GRAY8};
    for (const auto format : formats)
        for (const auto& [width, height] : sizes)
            for (const bool flip : {false, true}) {
                if (flip && format > LUMETRA_IMGFORMAT_BGRA && format != LUMETRA_IMGFORMAT_BGR) continue;
                const Bytes pushed = randomBytes(pictureBytes(format, width, height), 4);
                IChnk chunk = chunkOfPushed(width, height, format, pushed, false);
                EXPECT_EQ(0, convert(chunk, GRAY | PYRAMID | (flip ? FLIP : 0), true));
                Bytes expected = expectedPicture(pushed.data(), width, height, format, flip);
                for (int k = 1; k < 8; ++k) {
                    expected = expectedDerived(expected, width >> k, height >> k);
                    ASSERT_EQ(expected, level(chunk, k))
                        << width << "x" << height << " format " << format << " level " << k;
                }
            }
}

TEST(Conversion, DerivesAShearedLevelFromOddWidth) {
    Bytes pixels(20);
    for (std::size_t i = 0; i < 20; ++i) pixels[i] = static_cast<std::uint8_t>(i);
    pixels.resize(40);
    const auto chunk = chunkOf(5, 4, LUMETRA_IMGFORMAT_GRAY8, pixels, 20);
    convert(*chunk, GRAY | PYRAMID, true);
    EXPECT_EQ((Bytes{0, 2, 8, 10}), level(*chunk, 1)) << "source rows count 4 pixels, not 5";
    EXPECT_EQ((Bytes{0}), level(*chunk, 2));
    for (int k = 3; k < 8; ++k) EXPECT_EQ(chunk->data->lvl[0] + 25, chunk->data->lvl[k]);
}

TEST(Conversion, LeavesPixelsAloneWhereNothingApplies) {
    const struct {
        int format, flags;
    } cases[] = {{1, 0}, {1, PYRAMID | FLIP}, {2, 7}, {4, GRAY | FLIP},
                 {6, 7}, {7, GRAY | PYRAMID}, {0, 7}, {8, 7}};
    for (const auto& [format, flags] : cases) {
        const Bytes pixels = randomBytes(64, 7);
        const auto chunk = chunkOf(4, 4, static_cast<LUMETRA_IMGFORMATTYPE>(format), pixels);
        convert(*chunk, flags, true);
        EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), chunk->data->lvl[0]))
            << format << " flags " << flags;
    }
}

TEST(Conversion, PassesOverLevelsThatWereNotLaidOut) {
    const auto chunk = chunkOf(4, 4, LUMETRA_IMGFORMAT_RGB, Bytes(64));
    convert(*chunk, GRAY | PYRAMID | FLIP, true);
    EXPECT_EQ(nullptr, chunk->data->lvl[1]);
}

TEST(Conversion, FlipsGreyRowsOfAnyNumber) {
    for (const int height : {1, 2, 3, 8}) {
        const Bytes pixels = randomBytes(static_cast<std::size_t>(3 * height), 8);
        const auto chunk = chunkOf(3, height, LUMETRA_IMGFORMAT_GRAY8, pixels);
        convert(*chunk, GRAY | FLIP, false);
        EXPECT_EQ(expectedPicture(pixels.data(), 3, height, LUMETRA_IMGFORMAT_GRAY8, true), level(*chunk, 0));
    }
}

TEST(Conversion, OfFlippedPackedLumaDerivesOverLevelZero) {
    Bytes pixels(32);
    for (std::size_t i = 0; i < 32; ++i) pixels[i] = static_cast<std::uint8_t>(i);
    const auto chunk = chunkOf(4, 4, LUMETRA_IMGFORMAT_YUYV, pixels);
    EXPECT_EQ(1, convert(*chunk, GRAY | PYRAMID | FLIP, true));
    EXPECT_EQ(chunk->data->lvl[0], chunk->data->lvl[1]);
    EXPECT_EQ((Bytes{0, 2, 8, 10}), level(*chunk, 1));
}

TEST(ConversionPlan, SaysWhatBecomesOfEachFormat) {
    using enum ConversionPlan::Levels;
    constexpr bool YES = true, NO = false;
    const struct {
        int format, flags;
        bool supplied, mipMap;
        bool converts, flips;
        ConversionPlan::Levels levels;
        int unsupported, formatAfter;
    } cases[] = {
        {1, GRAY | PYRAMID | FLIP, YES, YES, YES, YES, Supplied, 0, 7},
        {1, GRAY | PYRAMID, NO, NO, YES, NO, None, 0, 7},
        {3, GRAY | PYRAMID, NO, YES, YES, NO, Derived, 0, 7},
        {3, GRAY | PYRAMID, NO, NO, YES, NO, None, 0, 7},
        {5, GRAY | FLIP, YES, YES, YES, YES, None, 0, 7},
        {5, GRAY | PYRAMID, NO, NO, YES, NO, None, 0, 7},
        {5, PYRAMID | FLIP, YES, YES, NO, NO, None, 0, 5},
        {4, GRAY, NO, NO, YES, NO, None, 0, 7},
        {4, GRAY | FLIP, NO, NO, NO, NO, None, 1, 7},
        {4, GRAY | PYRAMID, NO, YES, YES, NO, Derived, 0, 7},
        {4, GRAY | PYRAMID, YES, YES, YES, NO, None, 1, 7},
        {4, GRAY | PYRAMID | FLIP, NO, NO, NO, NO, None, 1, 7},
        {4, GRAY | PYRAMID | FLIP, NO, YES, NO, NO, Derived, 1, 7},
        {4, GRAY | PYRAMID | FLIP, YES, NO, NO, NO, None, 2, 7},
        {4, PYRAMID | FLIP, YES, YES, NO, NO, None, 0, 4},
        {7, GRAY | FLIP, NO, YES, NO, YES, None, 0, 7},
        {7, GRAY | PYRAMID, NO, YES, NO, NO, Derived, 0, 7},
        {7, GRAY | PYRAMID, YES, YES, NO, NO, None, 0, 7},
        {7, GRAY | PYRAMID | FLIP, NO, NO, NO, YES, None, 0, 7},
        {7, GRAY | PYRAMID | FLIP, NO, YES, NO, YES, None, 1, 7},
        {7, GRAY | PYRAMID | FLIP, YES, NO, NO, YES, None, 1, 7},
        {2, GRAY | PYRAMID | FLIP, YES, YES, NO, NO, None, 0, 2},
        {6, GRAY | PYRAMID | FLIP, YES, YES, NO, NO, None, 0, 6},
        {-3, GRAY | PYRAMID | FLIP, YES, YES, NO, NO, None, 0, -3},
        {8, GRAY | PYRAMID | FLIP, NO, YES, NO, NO, None, 0, 8},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("row " + std::to_string(&c - cases));
        IChnk chunk(3, 3, static_cast<LUMETRA_IMGFORMATTYPE>(c.format), 0, "");
        chunk.size = static_cast<int>(pictureBytes(chunk.format, 3, 3)) + (c.supplied ? 1 : 0);
        const auto plan = planConversion(chunk, static_cast<LUMETRA_CONVERSIONMODIFIER>(c.flags), c.mipMap);
        EXPECT_EQ(c.converts, plan.toGrey != nullptr);
        EXPECT_EQ(c.flips, plan.flip);
        EXPECT_EQ(c.levels, plan.levels);
        EXPECT_EQ(c.unsupported, plan.unsupportedSteps);
        EXPECT_EQ(c.formatAfter, plan.formatAfter);
    }
}

TEST(Dump, NamesAreCutTo127Bytes) {
    EXPECT_EQ("/tmp/dbg_12_lvl_7.pgm", dumpName("/tmp", 12, 7, "pgm"));
    EXPECT_EQ("./dbg_-1_lvl_0.ppm", dumpName(".", -1, 0, "ppm"));
    const std::string longPath(200, 'p');
    EXPECT_EQ(longPath.substr(0, 127), dumpName(longPath, 1, 0, "pgm"));
    EXPECT_EQ(std::string(110, 'p') + "/dbg_1_lvl_0.pgm", dumpName(std::string(110, 'p'), 1, 0, "pgm"));
}

// Frames that are converted where they are stored, dumping into a folder of their own.
class StoredConversion : public testing::Test {
protected:
    void configure(const std::string& rest = "") {
        configuration.configure(
            configurationText(2, 2, 7, R"(,"writablepath":")" + folder.file("") + "\"" + rest).c_str());
    }
    Chunk store(int format, const Bytes& pixels) {
        const Chunk chunk = chunkOf(2, 2, static_cast<LUMETRA_IMGFORMATTYPE>(format), pixels);
        chunks.store(ID, chunk);
        return chunk;
    }
    // How many steps were left out.
    int convert(int flags) {
        std::atomic<int> leftOut = 0;
        convertStored(chunks, ID, static_cast<LUMETRA_CONVERSIONMODIFIER>(flags), configuration,
                      [&leftOut] { ++leftOut; });
        return leftOut;
    }
    // The files there are, which are then removed.
    std::vector<std::string> takeDumps() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file("")))
            names.push_back(entry.path().filename().string() + " " + std::to_string(entry.file_size()));
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            std::filesystem::remove(folder.file(name.substr(0, name.find(' '))));
        return names;
    }

    static constexpr std::uint64_t ID = 1'700'000'000'000;
    const TemporaryFolder folder;
    Configuration configuration;
    ChunkStore chunks;
};

TEST_F(StoredConversion, DumpsEverySetLevelOfAGreyFrame) {
    configure();
    const Chunk chunk = chunkOf(640, 480, LUMETRA_IMGFORMAT_GRAY8, randomBytes(411648, 9));
    chunk->frameIndex = 12;
    layOutLevels(*chunk);
    chunks.store(ID, chunk);
    convert(PYRAMID | DUMP);
    EXPECT_THAT(takeDumps(),
                ElementsAre("dbg_12_lvl_0.pgm 307222", "dbg_12_lvl_1.pgm 76822", "dbg_12_lvl_2.pgm 19222",
                            "dbg_12_lvl_3.pgm 4820", "dbg_12_lvl_4.pgm 1220", "dbg_12_lvl_5.pgm 320",
                            "dbg_12_lvl_6.pgm 89", "dbg_12_lvl_7.pgm 33"));
}

TEST_F(StoredConversion, DumpsColourOnlyWhileItIsRgbAndLevelsOnlyWhenAsked) {
    const struct {
        int format, flags;
        std::vector<std::string> names;
    } cases[] = {{1, DUMP, {"dbg_0_lvl_0.ppm 30"}},
                 {1, DUMP | GRAY, {"dbg_0_lvl_0.pgm 22"}},
                 {1, DUMP | PYRAMID, {"dbg_0_lvl_0.ppm 30"}},
                 {3, DUMP, {}},
                 {5, DUMP | GRAY, {"dbg_0_lvl_0.pgm 22"}},
                 {2, DUMP | GRAY, {}},
                 {4, DUMP | GRAY | FLIP, {"dbg_0_lvl_0.pgm 22"}},
                 {7, GRAY | PYRAMID | FLIP, {}}};
    configure();
    for (const auto& [format, flags, names] : cases) {
        store(format, Bytes(16));
        convert(flags);
        EXPECT_EQ(names, takeDumps()) << "format " << format << " flags " << flags;
    }
}

TEST_F(StoredConversion, ReportsEachStepThatIsLeftOutAndDerivesLevelsByTheConfiguration) {
    configure(R"(,"mipMap":true)");
    store(4, Bytes(10));
    EXPECT_EQ(2, convert(GRAY | PYRAMID | FLIP));
    const Chunk chunk = store(4, Bytes{0, 1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(0, convert(GRAY | PYRAMID));
    EXPECT_EQ((Bytes{0, 2, 4, 6}), level(*chunk, 0));
    EXPECT_EQ((Bytes{0}), level(*chunk, 1));
}

TEST_F(StoredConversion, HasNothingToConvertInAFrameTooOldToBeSeen) {
    configure();
    for (const int sign : {-1, 1}) {
        store(4, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
        chunks.expectConversion(ID);
        chunks.conversionBegins(ID, ID + static_cast<std::uint64_t>(sign * 1000));  // a clock may be set back
        EXPECT_EQ(1, convert(GRAY | PYRAMID | DUMP));
        EXPECT_EQ(sign < 0 ? 1U : 0U, takeDumps().size());
        const Chunk chunk = chunks.take(ID);
        EXPECT_EQ(sign < 0, chunk->data != nullptr);
        EXPECT_EQ(LUMETRA_IMGFORMAT_YUYV + (sign < 0 ? 3 : 0), chunk->format);
    }
}

TEST_F(StoredConversion, ConvertsASharedFrameOnceForEachMessageAndNeverTwiceAtATime) {
    std::atomic<int> inside = 0, overlaps = 0;
    const auto reportStep = [&] {  // called in the middle of a conversion
        if (++inside > 1) ++overlaps;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        --inside;
    };
    const Chunk chunk = store(7, {1, 2, 3, 4, 5});
    std::vector<std::thread> workers;
    for (int i = 0; i < 5; ++i)
        workers.emplace_back([&] {
            convertStored(chunks, ID, LUMETRA_CONVERSIONMODIFIER(GRAY | PYRAMID | FLIP), configuration,
                          reportStep);
        });
    for (auto& worker : workers) worker.join();
    EXPECT_EQ(0, overlaps);
    EXPECT_EQ((Bytes{3, 4, 1, 2}), level(*chunk, 0)) << "five flips";
}
