#include "image/frame_buffers.h"

#include <gtest/gtest.h>

#include <thread>

#include "image/pixel_formats.h"
#include "tests/support/waiting.h"

using namespace lumetra;

#if !defined(__SANITIZE_ADDRESS__)
namespace {

std::unique_ptr<IChnk> chunkFrom(FrameBuffers& buffers, int width, int height) {
    auto chunk = std::make_unique<IChnk>(width, height, LUMETRA_IMGFORMAT_RGB, 0, "");
    buffers.allocatePixels(*chunk, static_cast<int>(pictureBytes(chunk->format, width, height)));
    return chunk;
}

}  // namespace

TEST(FrameBuffers, AreUsedAgainLastGivenFirst) {
    const auto buffers = std::make_shared<FrameBuffers>();
    auto first = chunkFrom(*buffers, 64, 48);
    auto second = chunkFrom(*buffers, 64, 48);
    const unsigned char* const pixels = second->data->lvl[0];
    first.reset();
    EXPECT_EQ(1U, buffers->waiting());
    auto copy = second->data;
    second.reset();
    EXPECT_EQ(1U, buffers->waiting()) << "its pixels are still owned";
    copy.reset();
    EXPECT_EQ(2U, buffers->waiting());
    EXPECT_EQ(pixels, chunkFrom(*buffers, 64, 48)->data->lvl[0]);
}

TEST(FrameBuffers, GoWithTheGeometryAndWithTheirOwner) {
    auto buffers = std::make_shared<FrameBuffers>();
    auto small = chunkFrom(*buffers, 64, 48);
    chunkFrom(*buffers, 64, 48).reset();
    EXPECT_EQ(1U, buffers->waiting());
    auto large = chunkFrom(*buffers, 65, 48);
    EXPECT_EQ(0U, buffers->waiting());
    small.reset();
    EXPECT_EQ(0U, buffers->waiting()) << "of the old size";
    buffers.reset();
    large->data->lvl[0][0] = 1;
    large.reset();  // frees its buffer itself
}

TEST(FrameBuffers, AreFreedASecondAfterTheLastFrameAndNotLookedAtAgain) {
    const auto buffers = std::make_shared<FrameBuffers>();
    auto late = chunkFrom(*buffers, 64, 48);
    chunkFrom(*buffers, 64, 48).reset();
    const auto next = buffers->trim(FrameBuffers::Clock::now());
    EXPECT_EQ(1U, buffers->waiting());
    EXPECT_EQ(FrameBuffers::Clock::time_point::max(), buffers->trim(next));
    EXPECT_EQ(0U, buffers->waiting());
    waitUntil([next] { return FrameBuffers::Clock::now() >= next; });
    late.reset();
    EXPECT_EQ(0U, buffers->waiting()) << "no frame would take it, and nobody would free it";
}

TEST(FrameBuffers, StayInPairsWhileFramesCome) {
    const auto buffers = std::make_shared<FrameBuffers>();
    std::unique_ptr<IChnk> chunks[4];
    for (auto& chunk : chunks) chunk = chunkFrom(*buffers, 64, 48);
    for (auto& chunk : chunks) chunk.reset();
    const auto idle = FrameBuffers::Clock::now() + BUFFER_IDLE_TIME + std::chrono::milliseconds(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const auto frame = chunkFrom(*buffers, 64, 48);  // comes later, and takes the newest
    for (int i = 0; i < 4; ++i) buffers->trim(idle);
    EXPECT_EQ(2U, buffers->waiting());
    const auto silence = idle + BUFFER_IDLE_TIME;
    EXPECT_LT(silence, buffers->trim(silence)) << "one at a time";
    EXPECT_EQ(1U, buffers->waiting());
    buffers->trim(silence);
    EXPECT_EQ(0U, buffers->waiting());
}
#endif
