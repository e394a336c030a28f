#include "LumetraCore/IChnk.h"

#include <gtest/gtest.h>

TEST(IChnk, StartsWithoutPixels) {
    const IChnk chunk;
    EXPECT_EQ(0, chunk.width);
    EXPECT_EQ(0, chunk.height);
    EXPECT_EQ(-1, chunk.frameIndex);
    EXPECT_EQ(0, chunk.size);
    EXPECT_EQ("", chunk.descriptor);
    for (const unsigned char* level : chunk.data->lvl) EXPECT_EQ(nullptr, level);
}

TEST(IChnk, TakesItsArgumentsInTheOrderThatModulesKnow) {
    const IChnk chunk(1, 2, LUMETRA_IMGFORMAT_BGR, 4, "five");
    EXPECT_EQ(1, chunk.width);
    EXPECT_EQ(2, chunk.height);
    EXPECT_EQ(LUMETRA_IMGFORMAT_BGR, chunk.format);
    EXPECT_EQ(4, chunk.frameIndex);
    EXPECT_EQ("five", chunk.descriptor);
    EXPECT_EQ(0, chunk.size);
}

TEST(IChnk, CopiesShareThePixelsUntilTheLastOfThemGoes) {
    auto chunk = std::make_unique<IChnk>(1, 1, LUMETRA_IMGFORMAT_GRAY8, 0, "");
    chunk->data->lvl[0] = new unsigned char[1]{7};
    const IChnk copy = *chunk;
    chunk.reset();
    EXPECT_EQ(7, copy.data->lvl[0][0]);
}
