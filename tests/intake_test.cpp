#include <gmock/gmock.h>

#include <new>

#include "base/clock.h"
#include "image/pixel_formats.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"

using namespace lumetra;

namespace {

std::string configurationOf(int width, int height, int format, bool mipMap) {
    return R"({"imageCfg":{"width":)" + std::to_string(width) + R"(,"height":)" + std::to_string(height) +
           R"(},"format":)" + std::to_string(format) + R"(,"mipMap":)" + (mipMap ? "true}" : "false}");
}

// An engine whose messages stay, and the one chunk that a push leaves in it.
class Intake : public testing::Test {
protected:
    Intake() { EngineProbe::stopLoop(engine); }

    std::shared_ptr<IChnk> push(const Bytes& frame, int size) {
        EXPECT_EQ(1, engine.pushImageData(frame.data(), size, "{\"a\":1}", 12));
        const auto chunks = EngineProbe::chunks(engine);
        return chunks.rbegin()->second;
    }

    LumetraCoreExecutor engine;
};

}  // namespace

TEST(PixelFormats, CountBytesWithoutWrapping) {
    const struct {
        int format, width, height;
        std::uint64_t bytes;
    } cases[] = {
        {0, 9, 9, 0},
        {1, 640, 480, 921600},
        {2, 3, 3, 13},
        {3, 640, 480, 1228800},
        {4, 3, 3, 18},
        {5, 1, 1, 3},
        {6, 9, 9, 0},
        {7, 5, 4, 20},
        {8, 9, 9, 0},
        {-1, 9, 9, 0},
        {7, 0, 9, 0},
        {3, -1, 4, 0},
        {3, 2147483647, 2147483647, 18446744056529682436ULL},
    };
    for (const auto& [format, width, height, bytes] : cases)
        EXPECT_EQ(bytes, pictureBytes(static_cast<LUMETRA_IMGFORMATTYPE>(format), width, height)) << format;
}

TEST_F(Intake, SizesTheBufferAndCopiesWhatFits) {
    const struct {
        int width, height, format;
        bool mipMap;
        int pushed, size, copied;
    } cases[] = {
        {640, 480, 1, false, 921600, 921600, 921600},
        {640, 480, 1, false, 1000, 1234944, 1000},
        {640, 480, 1, false, 2000000, 1234944, 1234944},
        {640, 480, 1, true, 921600, 1234944, 921600},
        {640, 480, 3, true, 1228800, 1646592, 1228800},
        {1, 1, 1, true, 3, 4, 3},
        {3, 3, 2, false, 13, 13, 13},
        {3, 3, 2, true, 13, 17, 13},
        {2, 2, 7, false, 0, 5, 0},
        {2, 2, 7, false, -1, 5, 0},
        {2, 2, 7, false, -2147483647 - 1, 5, 0},
        {640, 480, 6, true, 1000, 0, 0},
        {640, 480, 0, false, 1000, 0, 0},
        {640, 480, -3, true, 1000, 0, 0},
    };
    const Bytes frame = randomBytes(2000000, 1);
    for (const auto& c : cases) {
        engine.configure(configurationOf(c.width, c.height, c.format, c.mipMap).c_str());
        const auto chunk = push(frame, c.pushed);
        EXPECT_EQ(c.size, chunk->size) << c.width << "x" << c.height << " format " << c.format;
        EXPECT_TRUE(std::equal(frame.begin(), frame.begin() + c.copied, chunk->data->lvl[0]));
        EXPECT_EQ(c.mipMap, chunk->data->lvl[1] != nullptr);
        EXPECT_EQ("{\"a\":1}", chunk->descriptor);
        EXPECT_EQ(12, chunk->frameIndex);
        EXPECT_EQ(c.format, chunk->format);
    }
}

TEST_F(Intake, LaysEachLevelBehindTheOneBefore) {
    const struct {
        int width, height, format;
        std::vector<long> distances;
    } cases[] = {
        {640, 480, 3, {1228800, 307200, 76800, 19200, 4800, 1200, 280}},
        {1, 1, 1, {3, 0, 0, 0, 0, 0, 0}},
        {3, 3, 2, {13, 1, 0, 0, 0, 0, 0}},
        {7, 9, 6, {0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& [width, height, format, distances] : cases) {
        engine.configure(configurationOf(width, height, format, true).c_str());
        const auto chunk = push(Bytes(1), 0);
        for (std::size_t k = 0; k < 7; ++k)
            EXPECT_EQ(distances[k], chunk->data->lvl[k + 1] - chunk->data->lvl[k]) << width << " level " << k;
    }
}

TEST_F(Intake, PostsOneConversionForEachFrameUnderItsPushTime) {
    const Bytes frame(4);
    EXPECT_EQ(0, engine.pushImageData(frame.data(), 4, "", 0)) << "not configured";
    EXPECT_TRUE(EngineProbe::messages(engine).empty());

    engine.configure(configurationOf(2, 2, 7, false).c_str());
    const std::uint64_t before = currentTimeMs();
    for (int i = 0; i < 50; ++i) engine.pushImageData(frame.data(), 4, "", i);
    const std::uint64_t after = currentTimeMs();

    const auto messages = EngineProbe::messages(engine);
    const auto chunks = EngineProbe::chunks(engine);
    ASSERT_EQ(50U, messages.size());
    for (const auto& [type, id] : messages) {
        EXPECT_EQ(2, type);
        EXPECT_TRUE(id >= before && id <= after);
        EXPECT_EQ(1U, chunks.count(id));
    }
    EXPECT_LE(chunks.size(), after - before + 1) << "frames of one millisecond share an entry";
    EXPECT_EQ(49, chunks.rbegin()->second->frameIndex) << "the later frame stays";
}

TEST_F(Intake, RefusesSizesBeyond31BitsAsLackOfMemory) {
    const struct {
        int width, height, format;
    } cases[] = {{40000, 40000, 1}, {2147483647, 2147483647, 3}, {65536, 65536, 7}, {23171, 23171, 3}};
    for (const auto& [width, height, format] : cases) {
        engine.configure(configurationOf(width, height, format, false).c_str());
        EXPECT_THROW(engine.pushImageData(nullptr, 0, "", 0), std::bad_alloc) << width;
    }
    EXPECT_TRUE(EngineProbe::chunks(engine).empty());
    EXPECT_TRUE(EngineProbe::messages(engine).empty());
}
