#include "image/intake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "LumetraCore/PackPixels.h"
#include "base/clock.h"
#include "image/pixel_formats.h"
#include "tests/support/configurations.h"
#include "tests/support/frames.h"

using namespace lumetra;

namespace {

class Intake : public testing::Test {
protected:
    void configure(int width, int height, int format, bool mipMap) {
        cfg = configurationOf(width, height, format);
        cfg.mipMap = mipMap;
    }
    Chunk chunkOfPushed(const Bytes& frame, int size) const {
        return pushedChunk({frame.data(), size, "{\"a\":1}", 12}, cfg, *buffers);
    }
    bool push(const unsigned char* data, int size, int frameIndex = 0) {
        return takeIn({data, size, "", frameIndex}, cfg, {*buffers, chunks, messages});
    }

    ICfg cfg;
    const std::shared_ptr<FrameBuffers> buffers = std::make_shared<FrameBuffers>();
    ChunkStore chunks;
    MessageQueue messages;
};

}  // namespace

TEST(PixelFormats, CountBytesWithoutWrapping) {
    const struct {
        int format, width, height;
        std::uint64_t bytes;
    } cases[] = {{0, 9, 9, 0},
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
                 {3, 2147483647, 2147483647, 18446744056529682436ULL}};
    for (const auto& [format, width, height, bytes] : cases)
        EXPECT_EQ(bytes, pictureBytes(static_cast<LUMETRA_IMGFORMATTYPE>(format), width, height)) << format;
}

TEST(PackPixels, DropsPaddingAndTurnsBottomUpRows) {
    const Bytes padded = {1, 2, 3, 4, 0xEE, 5, 6, 7, 8};  // nothing behind the last row
    const struct {
        const char* name;
        std::size_t top;
        std::ptrdiff_t stride;
        std::int32_t width, height, bytesPerPixel;
        Bytes expected;
    } cases[] = {
        {"padded", 0, 5, 4, 2, 1, {1, 2, 3, 4, 5, 6, 7, 8}},
        {"bottom row first", 5, -5, 4, 2, 1, {5, 6, 7, 8, 1, 2, 3, 4}},
        {"two bytes a pixel", 0, 5, 2, 2, 2, {1, 2, 3, 4, 5, 6, 7, 8}},
        {"a detail", 0, 5, 1, 2, 3, {1, 2, 3, 5, 6, 7}},
        {"without padding", 0, 4, 4, 2, 1, {1, 2, 3, 4, 0xEE, 5, 6, 7}},
        {"without padding, bottom row first", 4, -4, 1, 2, 4, {0xEE, 5, 6, 7, 1, 2, 3, 4}},
        {"a single row of any stride", 5, -1000, 1, 1, 4, {5, 6, 7, 8}},
        {"row longer than the stride", 0, 3, 4, 2, 1, {}},
        {"pixels wider than the stride", 0, 5, 2, 2, 3, {}},
        {"the same, bottom row first", 5, -3, 4, 2, 1, {}},
        {"no stride", 0, 0, 1, 1, 1, {}},
        {"no width", 0, 5, 0, 2, 1, {}},
        {"no height", 0, 5, 4, 0, 1, {}},
        {"no pixels", 0, 5, 4, 2, -1, {}},
        {"sizes that wrap", 0, PTRDIFF_MAX, INT32_MAX, INT32_MAX, 4, {}},
        {"a stride without a counterpart", 5, PTRDIFF_MIN, INT32_MAX, INT32_MAX, INT32_MAX, {}},
    };
    for (const auto& [name, top, stride, width, height, bytesPerPixel, expected] : cases) {
        Bytes packed(8, 0xAA);
        const unsigned char* const row = padded.data() + top;
        const std::size_t size =
            lumetra_pack_pixels(packed.data(), packed.size(), row, stride, width, height, bytesPerPixel);
        EXPECT_EQ(expected, Bytes(packed.begin(), packed.begin() + std::ptrdiff_t(size))) << name;
        EXPECT_EQ(8 - std::ptrdiff_t(size), std::count(packed.begin(), packed.end(), 0xAA)) << name;
    }
    Bytes inPlace = padded;
    EXPECT_EQ(8u, lumetra_pack_pixels(inPlace.data(), inPlace.size(), inPlace.data(), 5, 4, 2, 1));
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8, 8}), inPlace);
    EXPECT_EQ(0u, lumetra_pack_pixels(inPlace.data(), 7, padded.data(), 5, 4, 2, 1));
    EXPECT_EQ(0u, lumetra_pack_pixels(nullptr, 8, padded.data(), 5, 4, 2, 1));
    EXPECT_EQ(0u, lumetra_pack_pixels(inPlace.data(), 8, nullptr, 5, 4, 2, 1));
}

TEST_F(Intake, SizesTheBufferAndCopiesWhatFits) {
    const struct {
        int width, height, format;
        bool mipMap;
        int pushed, size, copied;
    } cases[] = {{640, 480, 1, false, 921600, 921600, 921600},
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
                 {640, 480, -3, true, 1000, 0, 0}};
    const Bytes frame = randomBytes(2000000, 1);
    for (const auto& c : cases) {
        configure(c.width, c.height, c.format, c.mipMap);
        const auto chunk = chunkOfPushed(frame, c.pushed);
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
        configure(width, height, format, true);
        const auto chunk = chunkOfPushed(Bytes(1), 0);
        for (std::size_t k = 0; k < 7; ++k)
            EXPECT_EQ(distances[k], chunk->data->lvl[k + 1] - chunk->data->lvl[k]) << width << " level " << k;
    }
}

TEST_F(Intake, PostsOneConversionForEachFrameUnderItsPushTime) {
    const Bytes frame(4);
    EXPECT_FALSE(push(frame.data(), 4)) << "not configured";
    configure(2, 2, 7, false);
    EXPECT_FALSE(push(nullptr, 4));
    EXPECT_TRUE(messages.copy().empty());

    const std::uint64_t before = currentTimeMs();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(push(frame.data(), 4, i));
    const std::uint64_t after = currentTimeMs();

    const auto stored = chunks.copy();
    ASSERT_EQ(50U, messages.copy().size());
    for (const auto& [type, id] : messages.copy()) {
        EXPECT_EQ(MSG_CONVERT, type);
        EXPECT_TRUE(id >= before && id <= after);
        EXPECT_EQ(1U, stored.count(id));
    }
    EXPECT_LE(stored.size(), after - before + 1) << "frames of one millisecond share an entry";
    EXPECT_EQ(49, stored.rbegin()->second->frameIndex) << "the later frame stays";
}

TEST_F(Intake, RefusesSizesBeyond31BitsAsLackOfMemory) {
    const struct {
        int width, height, format;
    } cases[] = {{40000, 40000, 1}, {2147483647, 2147483647, 3}, {65536, 65536, 7}, {23171, 23171, 3}};
    for (const auto& [width, height, format] : cases) {
        configure(width, height, format, false);
        EXPECT_THROW(push(nullptr, 0), std::bad_alloc) << width;
    }
    EXPECT_TRUE(chunks.copy().empty());
    EXPECT_TRUE(messages.copy().empty());
}
