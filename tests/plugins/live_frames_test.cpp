// live_frames_test.cpp - frames come while others look, for the thread sanitizer above all; their pictures;
// who may look; and texts of the host.
#include "plugins/LiveView/live_frames.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "plugins/LiveView/admission.h"
#include "plugins/LiveView/jpeg_encoding.h"
#include "plugins/LiveView/live_texts.h"
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
            std::string seen;
            while (coming) {
                const LivePicture picture = frames.picture(0, seen);
                if (picture.state == LivePicture::State::New) {
                    EXPECT_EQ(16, decodeJpeg({picture.file->begin(), picture.file->end()}).width);
                }
                seen = picture.token;
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
    EXPECT_EQ(LivePicture::State::NoFrame, frames.picture(0).state);
}

TEST(Viewers, AreEightUntilOneStopsAsking) {
    Viewers viewers;
    Viewers::TimePoint now{};
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h", "a"})
        EXPECT_TRUE(viewers.admit(name, now));
    EXPECT_FALSE(viewers.admit("i", now));
    now += std::chrono::seconds(2);
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g"}) EXPECT_TRUE(viewers.admit(name, now));
    EXPECT_FALSE(viewers.admit("i", now));
    now += std::chrono::seconds(1);
    EXPECT_TRUE(viewers.admit("i", now));
    EXPECT_FALSE(viewers.admit("h", now)) << "its place is taken";
}

TEST(LiveTexts, KeepTheNewestAndTakeNoResultThatIsNone) {
    LiveTexts texts("here");
    for (const std::string& wrong :
         {std::string(""), std::string("Tags"), std::string("Tags "), std::string(" {}"),
          std::string("Tags []"), std::string("Tags {} {}"),
          "Tags {\"a\":\"" + std::string(16'384, 'x') + "\"}", std::string("Tags {\"a\":\"\xff\"}"),
          "Tags " + std::string(10'000, '{')})
        EXPECT_FALSE(texts.addResult(wrong)) << wrong.substr(0, 40);
    for (int frame = 0; frame < 70; ++frame)
        texts.addResult("Tags {\"frame\":" + std::to_string(frame) + "}");
    texts.addLine("a \" quote\xff" + std::string(2000, '-'));
    const auto all = nlohmann::json::parse(texts.after(0));
    EXPECT_EQ("here", all["instance"]);
    ASSERT_EQ(64U, all["results"].size());
    EXPECT_EQ(6, all["results"][0]["result"]["frame"]);
    EXPECT_EQ("Tags", all["results"][0]["module"]);
    EXPECT_EQ("a \" quote\ufffd---", all["log"][0]["line"].get<std::string>().substr(0, 15));
    texts.addLine("second");
    const auto fresh = nlohmann::json::parse(texts.after(all["next"]));
    EXPECT_TRUE(fresh["results"].empty());
    ASSERT_EQ(1U, fresh["log"].size());
    EXPECT_EQ("second", fresh["log"][0]["line"]);
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
