// live_frames_test.cpp - frames come while others look, for the thread sanitizer above all; their pictures.
#include "plugins/LiveView/live_frames.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "plugins/LiveView/jpeg_encoding.h"
#include "tests/support/frames.h"
#include "tests/support/jpeg_decoding.h"

namespace {

TEST(LiveFrames, AreWholeForWhoeverLooksWhileTheyCome) {
    constexpr int FRAMES = 200, VIEWERS = 3;
    LiveFrames frames;
    std::atomic<bool> coming = true;
    std::vector<std::thread> viewers;
    for (int viewer = 0; viewer < VIEWERS; ++viewer)
        viewers.emplace_back([&] {
            std::uint64_t seen = 0;
            while (coming) {
                seen = frames.waitForNext(seen, std::chrono::milliseconds(1));
                const auto file = frames.picture(0);
                if (file != nullptr) {
                    EXPECT_EQ(16, decodeJpeg({file->begin(), file->end()}).width);
                }
                EXPECT_NE(std::string::npos, frames.statistics().find("\"frames\":"));
            }
        });
    std::vector<std::thread> workers;
    for (unsigned worker = 0; worker < 2; ++worker)
        workers.emplace_back([&, worker] {
            for (unsigned frame = 0; frame < FRAMES; ++frame)
                frames.take(frame,
                            chunkOf(16, 16, LUMETRA_IMGFORMAT_GRAY8, randomBytes(256, 2 * frame + worker)));
        });
    for (std::thread& worker : workers) worker.join();
    frames.forget();
    coming = false;
    for (std::thread& viewer : viewers) viewer.join();
    EXPECT_EQ(nullptr, frames.picture(0));
}

TEST(JpegEncoding, KeepsThePixelsOfFilesThatOutgrowTheirRoom) {
    const Bytes pixels = randomBytes(333 * 247, 1);
    const auto file = encodeJpeg({pixels.data(), 333, 247}, 100);
    ASSERT_NE(nullptr, file);
    EXPECT_LT(pixels.size(), file->size());  // noise
    const DecodedJpeg picture = decodeJpeg({file->begin(), file->end()});
    ASSERT_EQ(pixels.size(), picture.samples.size());
    int worst = 0;
    for (std::size_t k = 0; k < pixels.size(); ++k)
        worst = std::max(worst, std::abs(pixels[k] - picture.samples[k]));
    EXPECT_LE(worst, 3);
}

}  // namespace
