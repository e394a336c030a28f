#include "image/chunk_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/synchronized.h"
#include "tests/support/frames.h"

using namespace lumetra;

namespace {

constexpr std::uint64_t ID = 1'700'000'000'000;

Chunk frame() {
    return chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9});
}

void convert(ChunkStore& store, std::uint64_t id) {
    ChunkStore::Conversion(store, id).pixelsAreDone();
}

Chunk deliverable(ChunkStore& store, std::uint64_t id) {
    Chunk found;
    store.withDeliverable(id, [&found](const Chunk& chunk) { found = chunk; });
    return found;
}

}  // namespace

TEST(Synchronized, LetsOneThreadInAtATime) {
    Synchronized<int> inside;
    std::atomic<int> overlaps = 0;
    const auto enter = [&] {
        for (int i = 0; i < 200; ++i)
            inside.with([&overlaps](int& count) {
                if (++count != 1) ++overlaps;
                std::this_thread::sleep_for(std::chrono::microseconds(20));
                --count;
            });
    };
    std::thread other(enter);
    enter();
    other.join();
    EXPECT_EQ(0, overlaps);
}

TEST(ChunkStore, DeliversAFrameOnceItsFirstConversionHasEnded) {
    ChunkStore store;
    const Chunk first = frame(), second = frame();
    EXPECT_EQ(nullptr, store.store(ID, first));
    {
        ChunkStore::Conversion conversion(store, ID);
        EXPECT_EQ(first.get(), conversion.chunk());
        EXPECT_EQ(nullptr, deliverable(store, ID));
        EXPECT_EQ(first, store.store(ID, second)) << "a frame of the same millisecond replaces it";
        conversion.pixelsAreDone();
    }
    EXPECT_EQ(nullptr, deliverable(store, ID)) << "nobody has converted the second";
    convert(store, ID);
    EXPECT_EQ(second, deliverable(store, ID));
    convert(store, ID);
    EXPECT_EQ(second, deliverable(store, ID));
    EXPECT_EQ(second, store.take(ID));
    EXPECT_TRUE(store.copy().empty());
    EXPECT_EQ(nullptr, store.take(ID));
    EXPECT_EQ(nullptr, deliverable(store, ID));
    EXPECT_EQ(nullptr, ChunkStore::Conversion(store, ID).chunk());
    EXPECT_EQ(nullptr, store.copy().at(ID)) << "a conversion without a frame leaves an empty entry";
    EXPECT_EQ(nullptr, deliverable(store, ID));
}

TEST(ChunkStore, DropsPixelsThatNobodyWillSeeAnyMore) {
    const struct {
        const char* what;
        std::uint64_t nowMs;
        bool expected, held, converted, dropped;
    } cases[] = {
        {"it waits and is past", ID + 100, true, false, false, true},
        {"it may still be delivered", ID + 99, true, false, false, false},
        {"it is from the future", ID - 1000, true, false, false, false},
        {"it has to be kept for a dump", ID + 100, false, false, false, false},
        {"somebody holds it", ID + 100, true, true, false, false},
        {"one conversion has ended", ID + 100, true, false, true, false},
    };
    for (const auto& c : cases) {
        for (const bool begins : {false, true}) {
            SCOPED_TRACE(c.what);
            ChunkStore store;
            Chunk held = frame();
            const std::weak_ptr<IChnk::dPtr> pixels = held->data;
            store.store(ID, held);
            if (!c.held) held.reset();
            if (c.converted) convert(store, ID);
            if (c.expected) store.expectConversion(ID);
            if (begins)
                store.conversionBegins(ID, c.nowMs);
            else
                EXPECT_EQ(c.expected && !c.dropped && !c.converted, store.dropOldPixels(c.nowMs));
            EXPECT_EQ(c.dropped, pixels.expired());

            ChunkStore::Conversion conversion(store, ID);
            EXPECT_EQ(!c.dropped, conversion.hasPixels());
            ASSERT_NE(nullptr, conversion.chunk()) << "its entry stays";
            conversion.pixelsAreDone();
            EXPECT_EQ(c.dropped, deliverable(store, ID) == nullptr) << "whatever the clock says by then";
        }
    }
}

TEST(ChunkStore, ForgetsConversionsThatWillNotCome) {
    ChunkStore store;
    store.store(ID, frame());
    store.expectConversion(ID);
    store.forgetConversion(ID);
    EXPECT_FALSE(store.dropOldPixels(ID + 1000));
    store.expectConversion(ID + 1);  // for a frame that is gone by now
    EXPECT_TRUE(store.dropOldPixels(ID)) << "it may be one day";
    EXPECT_FALSE(store.dropOldPixels(ID + 1000)) << "there is nothing to come back for";
    EXPECT_EQ(nullptr, store.takeIf(ID, frame().get())) << "another one";
    EXPECT_FALSE(store.copy().empty());
}
