// TagTracker_test.cpp - the module as hosts load it, over tags drawn here from their family's own bitmaps.
#include "plugins/TagTracker/TagTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>

#include "LumetraCore/TextResults.h"
#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/waiting.h"

extern "C" {
#include <apriltag/apriltag.h>
#include <apriltag/tag36h11.h>
}

namespace {

using nlohmann::json;
using testing::HasSubstr;

struct Point {
    double x, y;
};

// A tag as it lies in the frame: its upper left corner, and where its right and lower edges lead.
struct DrawnTag {
    int id;
    Point origin, right, down;

    /// From pixels to 0, 0 at the upper left corner and 1, 1 at the lower right one.
    Point toTag(double x, double y) const {
        const double area = right.x * down.y - right.y * down.x;
        const Point p{x - origin.x, y - origin.y};
        return {(p.x * down.y - p.y * down.x) / area, (p.y * right.x - p.x * right.y) / area};
    }
    /// In the order of the results: lower left, lower right, upper right, upper left.
    std::array<Point, 4> corners() const {
        const auto at = [this](double u, double v) {
            return Point{origin.x + u * right.x + v * down.x, origin.y + u * right.y + v * down.y};
        };
        return {at(0, 1), at(1, 1), at(1, 0), at(0, 0)};
    }
};

class Canvas {
public:
    static constexpr int WIDTH = 640, HEIGHT = 480;

    Canvas() : m_pixels(WIDTH * HEIGHT, 200), m_family(tag36h11_create(), tag36h11_destroy) {}

    /// Each pixel is the mean of 8x8 points.
    void draw(const DrawnTag& tag) {
        const std::unique_ptr<image_u8_t, decltype(&free)> bits(apriltag_to_image(m_family.get(), tag.id),
                                                                &free);
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                const Point centre = tag.toTag(x + 0.5, y + 0.5);
                if (std::abs(centre.x - 0.5) > 0.7 || std::abs(centre.y - 0.5) > 0.7) continue;
                unsigned sum = 0;
                for (int k = 0; k < 64; ++k)
                    sum += bitAt(*bits, tag.toTag(x + (k % 8 + 0.5) / 8, y + (k / 8 + 0.5) / 8),
                                 m_pixels[index(x, y)]);
                m_pixels[index(x, y)] = static_cast<std::uint8_t>(sum / 64);
            }
        free(bits->buf);
    }
    const Bytes& pixels() const { return m_pixels; }

    /// The frame with smaller levels: averages, as pushers supply them, or upper left pixels, as the engine
    /// derives them in the buffer of a frame that had three bytes a pixel.
    std::shared_ptr<IChnk> frame(int number, bool averaged) const {
        Bytes buffer(averaged ? m_pixels.size() * 134 / 100 : m_pixels.size() * 3);
        std::copy(m_pixels.begin(), m_pixels.end(), buffer.begin());
        auto chunk = chunkOf(WIDTH, HEIGHT, LUMETRA_IMGFORMAT_GRAY8, buffer);
        layOutGreyLevels(*chunk);
        chunk->frameIndex = number;
        for (int k = 1; k < 8; ++k) {
            const unsigned char* const from = chunk->data->lvl[k - 1];
            const int width = WIDTH >> k, stride = WIDTH >> (k - 1);
            for (int at = 0; at < width * (HEIGHT >> k); ++at) {
                const unsigned char* const block = from + 2 * (at / width) * stride + 2 * (at % width);
                const int sum = block[0] + block[1] + block[stride] + block[stride + 1];
                chunk->data->lvl[k][at] = static_cast<unsigned char>(averaged ? (sum + 2) / 4 : block[0]);
            }
        }
        return chunk;
    }

private:
    static std::size_t index(int x, int y) { return static_cast<std::size_t>(y * WIDTH + x); }

    // The bitmap has a white cell on every side; the black border inside of it is the outline of the tag.
    unsigned bitAt(const image_u8_t& bits, Point onTag, unsigned outside) const {
        const double cells = m_family->width_at_border;
        const double margin = (m_family->total_width - cells) / 2;
        const int column = static_cast<int>(std::floor(onTag.x * cells + margin));
        const int row = static_cast<int>(std::floor(onTag.y * cells + margin));
        if (column < 0 || row < 0 || column >= bits.width || row >= bits.height) return outside;
        return bits.buf[row * bits.stride + column];
    }

    Bytes m_pixels;
    const std::unique_ptr<apriltag_family_t, decltype(&tag36h11_destroy)> m_family;
};

const DrawnTag TAGS[] = {{3, {60.25, 70.5}, {160, 0}, {0, 160}},
                         {587 - 1, {470.3, 60.7}, {120, 70}, {-70, 120}},
                         {42, {200.6, 290.4}, {-20, 150}, {-150, -20}},
                         {100, {340.5, 300.25}, {170, 20}, {-30, 140}}};

// How far the outline's corner is from where it was drawn; far away if there is no such outline.
Point offset(const json& outlines, const DrawnTag& tag, std::size_t corner) {
    for (const json& outline : outlines) {
        if (outline["label"] != std::to_string(tag.id)) continue;
        const json& point = outline["points"][corner];
        const Point drawn = tag.corners()[corner];
        return {point[0].get<double>() - drawn.x, point[1].get<double>() - drawn.y};
    }
    return {1e9, 1e9};
}

class TagTracker : public testing::Test, protected LoadedModule {
protected:
    TagTracker() : LoadedModule(TAGTRACKER_LIBRARY) {
        EXPECT_EQ(LUMETRA_RESULTFORM_TEXT, send(LUMETRA_CMD_RESULTFORM));
        const LUMETRA_TEXTRESULTFN listen = [](void* self, const char* text) {
            auto& test = *static_cast<TagTracker*>(self);
            const std::lock_guard lock(test.m_mutex);
            test.m_results.push_back(json::parse(text));
        };
        EXPECT_EQ(1, setCallback(CB_TYPE2, reinterpret_cast<void*>(listen), this));
    }
    ~TagTracker() { unload(); }  // before what its worker calls

    void push(std::shared_ptr<IChnk> chunk) { notify(++m_id, std::move(chunk)); }
    std::size_t results() {
        const std::lock_guard lock(m_mutex);
        return m_results.size();
    }
    /// Of the frame alone.
    json search(const std::shared_ptr<IChnk>& chunk) {
        const std::size_t before = results();
        push(chunk);
        waitUntil([&] { return results() > before; });
        const std::lock_guard lock(m_mutex);
        return m_results.back();
    }
    void waitUntilSettled(int frames) {
        waitUntil([&] { return send(TAGTRACKER_CMD_SEARCHED) + send(TAGTRACKER_CMD_SKIPPED) == frames; });
    }

    std::uint64_t m_id = 0;

private:
    std::mutex m_mutex;
    std::vector<json> m_results;
};

TEST_F(TagTracker, FindsTagsWithinAPixelOnLevels0To2) {
    Canvas canvas;
    for (const DrawnTag& tag : TAGS) canvas.draw(tag);
    int frames = 0;
    for (const bool averaged : {true, false})
        for (const int level : {0, 1, 2}) {
            configure((R"({"rate":1000,"level":)" + std::to_string(level) + "}").c_str());
            const json result = search(canvas.frame(++frames, averaged));
            EXPECT_EQ(frames, result["frame"]);
            EXPECT_EQ(640, result["width"]);
            ASSERT_EQ(std::size(TAGS), result["tags"].size()) << "level " << level;
            // Upper left pixels alone show a straight edge up to half a pixel of theirs off, but not all to
            // one side.
            const double limit = averaged ? 1 : std::max(1.0, std::ldexp(0.5, level));
            Point sum{0, 0};
            for (const DrawnTag& tag : TAGS)
                for (std::size_t corner = 0; corner < 4; ++corner) {
                    const Point off = offset(result["outlines"], tag, corner);
                    EXPECT_LT(std::hypot(off.x, off.y), limit)
                        << "tag " << tag.id << ", corner " << corner << ", level " << level
                        << (averaged ? ", averaged" : ", derived");
                    sum = {sum.x + off.x, sum.y + off.y};
                }
            EXPECT_LT(std::hypot(sum.x, sum.y) / (4 * std::size(TAGS)), 0.5) << "level " << level;
        }
    EXPECT_EQ(frames * std::ssize(TAGS), send(TAGTRACKER_CMD_FOUND));
}

TEST_F(TagTracker, KeepsToItsRateAndToStartAndStop) {
    const Canvas canvas;
    EXPECT_EQ(TAGTRACKER_STATUS_STOPPED, status());
    EXPECT_EQ(0, send(LUMETRA_CMD_START));
    configure(R"({"rate":0.01})");  // one in a hundred seconds
    EXPECT_EQ(STATUS_READY, status());
    EXPECT_TRUE(search(canvas.frame(1, true))["tags"].empty());
    for (int frame = 2; frame <= 4; ++frame) push(canvas.frame(frame, true));
    waitUntilSettled(4);
    EXPECT_EQ(1U, results());
    EXPECT_EQ(1, send(LUMETRA_CMD_STOP));
    EXPECT_EQ(TAGTRACKER_STATUS_PAUSED, status());
    push(canvas.frame(5, true));
    EXPECT_EQ(1, send(LUMETRA_CMD_START));
    configure("{}");
    EXPECT_EQ(6, search(canvas.frame(6, true))["frame"]) << "frame 5 came while it was stopped";
}

TEST_F(TagTracker, IsStoppedByItsResultsWhileItIsConfiguredAnew) {
    struct Host {
        decltype(&::command) command;
        std::atomic<bool> hasResult = false, configures = false;
        std::atomic<int> answer = -1;
    } host{command};
    const LUMETRA_TEXTRESULTFN stop = [](void* user, const char*) {
        auto& self = *static_cast<Host*>(user);
        self.hasResult = true;
        waitUntil([&] { return self.configures.load(); });
        std::this_thread::sleep_for(
            std::chrono::milliseconds(50));  // so that it waits for this thread by now
        self.answer = self.command(LUMETRA_CMD_STOP, "");
    };
    setCallback(CB_TYPE2, reinterpret_cast<void*>(stop), &host);
    configure("{}");
    push(Canvas().frame(1, true));
    waitUntil([&] { return host.hasResult.load(); });
    host.configures = true;
    configure("{}");
    EXPECT_EQ(1, host.answer);
    EXPECT_EQ(STATUS_READY, status());
    unload();  // before `host` goes
}

TEST_F(TagTracker, PassesOverWhatItCannotSearchAndSaysWhatItDoesNotKnow) {
    configure(R"({"rate":1000,"level":7})");
    const Canvas canvas;
    push(canvas.frame(1, true));  // level 7 has 5x3 pixels
    push(chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, Bytes(1)));
    push(chunkOf(64, 64, LUMETRA_IMGFORMAT_RGB, Bytes(64 * 64 * 3)));
    push(nullptr);
    waitUntilSettled(3);
    EXPECT_EQ(0U, results());
    configure(R"({"rate":1000,"level":-3})");
    search(chunkOf(16, 17, LUMETRA_IMGFORMAT_GRAY8, randomBytes(16 * 17, 1)));
    configure(R"({"family":"tag1h1"})");
    EXPECT_EQ(TAGTRACKER_STATUS_FAILED, status());
    EXPECT_EQ("Error: TagTracker does not search: there is no tag family tag1h1!", lines().back());
    unload();
    EXPECT_EQ(nullptr, dlopen(TAGTRACKER_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
}

#ifdef LUMETRA_PLAY_PROGRAM
// Tag 1 moves from left to right over ten frames of grey video.
TEST(TagTrackerInThePlayer, HandsOutResultsOfAClipThatAreCounted) {
    constexpr int FRAMES = 10, STEP = 30;
    const TemporaryFolder folder;
    std::ofstream clip(folder.file("clip.y4m"), std::ios::binary);
    clip << "YUV4MPEG2 W640 H480 F10:1 Ip A1:1 Cmono\n";
    for (int number = 0; number < FRAMES; ++number) {
        Canvas canvas;
        canvas.draw({1, {50.0 + STEP * number, 100}, {200, 0}, {0, 200}});
        clip << "FRAME\n";
        clip.write(reinterpret_cast<const char*>(canvas.pixels().data()),
                   static_cast<std::streamsize>(canvas.pixels().size()));
    }
    clip.close();
    const std::string command = LUMETRA_PLAY_PROGRAM
                                " --format gray8 --module 'TagTracker={\"rate\":1000}' " +
                                folder.file("clip.y4m") + " > " + folder.file("out") + " 2>&1";
    ASSERT_EQ(0, std::system(command.c_str())) << folder.read("out");
    std::ifstream out(folder.file("out"));
    int results = 0, last = -1;
    for (std::string line; std::getline(out, line);) {
        if (line.rfind("TagTracker {", 0) != 0) continue;
        const json result = json::parse(line.substr(11));
        ASSERT_EQ(1U, result["tags"].size()) << line;
        EXPECT_EQ(1, result["tags"][0]["id"]);
        EXPECT_NEAR(150 + STEP * result["frame"].get<int>(), result["tags"][0]["centre"][0].get<double>(), 1);
        EXPECT_LT(last, result["frame"]) << "once each";
        last = result["frame"];
        ++results;
    }
    EXPECT_GE(results, FRAMES / 2) << "a busy machine may skip some\n" << folder.read("out");
    EXPECT_THAT(folder.read("out"), HasSubstr(", " + std::to_string(results) + " results"));
}
#endif

}  // namespace
