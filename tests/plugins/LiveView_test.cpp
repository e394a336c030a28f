// LiveView_test.cpp - the module as hosts load it, asked over the network as browsers do.
#include "plugins/LiveView/LiveView.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <nlohmann/json.hpp>
#include <numeric>

#include "tests/support/frames.h"
#include "tests/support/jpeg_decoding.h"
#include "tests/support/loaded_module.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::StartsWith;

class LiveView : public testing::Test, protected LoadedModule {
protected:
    LiveView() : LoadedModule(LIVEVIEW_LIBRARY) {}

    int port() { return send(LIVEVIEW_CMD_PORT); }
    void serve() {
        configure(R"({"port":0})");
        ASSERT_EQ(STATUS_READY, status());
    }
    httplib::Result get(const std::string& path) { return httplib::Client("127.0.0.1", port()).Get(path); }

    /// Frame `index` of 8x8 pixels with all its levels.
    void push(int index, const std::string& descriptor = "{}") {
        auto chunk = chunkOf(8, 8, LUMETRA_IMGFORMAT_GRAY8, randomBytes(85, static_cast<unsigned>(index)));
        layOutGreyLevels(*chunk);
        chunk->frameIndex = index;
        chunk->descriptor = descriptor;
        notify(++m_chunkId, chunk);
    }

    /// The statistics as soon as they say so many frames; they are made ten times a second.
    json statistics(int frames) {
        for (;;) {
            json document = json::parse(get("/stats.json")->body);
            if (document["frames"] == frames) return document;
            std::this_thread::sleep_for(10ms);
        }
    }

    std::uint64_t m_chunkId = 0;
};

// Somebody who looks at a stream from a thread of his own.
class Viewer {
public:
    explicit Viewer(int port)
        : m_thread([this, port] {
              httplib::Client("127.0.0.1", port)
                  .Get("/stream.mjpg", [this](const char* bytes, std::size_t count) {
                      const std::lock_guard lock(m_mutex);
                      m_received.append(bytes, count);
                      return true;
                  });
          }) {}
    ~Viewer() { m_thread.join(); }

    std::size_t pictures() {
        const std::lock_guard lock(m_mutex);
        std::size_t count = 0;
        for (std::size_t at = 0; (at = m_received.find("image/jpeg", at)) != std::string::npos; ++at) ++count;
        return count;
    }
    void waitForPictures(std::size_t count) {
        while (pictures() < count) std::this_thread::sleep_for(5ms);
    }

private:
    std::mutex m_mutex;
    std::string m_received;
    std::thread m_thread;
};

TEST_F(LiveView, ServesEveryLevelOfTheNewestGreyFrame) {
    serve();
    EXPECT_EQ(404, get("/frame.jpg")->status);
    push(1);
    for (const int level : {0, 1, 2, 3}) {
        const auto answer = get("/frame.jpg?level=" + std::to_string(level));
        ASSERT_EQ(200, answer->status) << level;
        const auto picture = decodeJpeg({answer->body.begin(), answer->body.end()});
        EXPECT_EQ(8 >> level, picture.width);
        EXPECT_EQ(8 >> level, picture.height);
    }
    for (const char* level : {"4", "8", "-1", "x", "", "1x", "99999999999"})
        EXPECT_EQ(404, get(std::string("/frame.jpg?level=") + level)->status) << level;
    notify(++m_chunkId, chunkOf(1, 1, LUMETRA_IMGFORMAT_RGB, randomBytes(3, 1)));
    EXPECT_EQ(404, get("/frame.jpg")->status);
    notify(++m_chunkId, chunkOf(70'000, 1, LUMETRA_IMGFORMAT_GRAY8, randomBytes(70'000, 1)));
    EXPECT_EQ(404, get("/frame.jpg")->status) << "longer than any JPEG";
    EXPECT_THAT(get("/")->body, StartsWith("<!DOCTYPE html>"));
}

TEST_F(LiveView, TellsFiguresSinceSomebodyLooks) {
    serve();
    push(1);  // nobody looks yet
    statistics(0);
    for (const int frame : {5, 3, 6}) push(frame, R"({"text":"a \" quote"})");
    json document = statistics(3);
    EXPECT_EQ(1, document["lost"]);
    json& newest = document["newest"];
    EXPECT_EQ(6, newest["frame"]);
    EXPECT_EQ(R"({"text":"a \" quote"})", newest["descriptor"]);
    const auto bins = newest["histogram"].get<std::vector<int>>();
    ASSERT_EQ(256U, bins.size());
    EXPECT_EQ(64, std::accumulate(bins.begin(), bins.end(), 0));
}

TEST_F(LiveView, CutsALongDescriptorBetweenCharactersAndMarksWhatIsNoText) {
    serve();
    std::string text = "\xE2\x82\xAC";  // three bytes; 2,000 is no multiple
    while (text.size() < 3000) text += "\xE2\x82\xAC";
    statistics(0);
    push(1, text);
    EXPECT_EQ(text.substr(0, 1998), statistics(1)["newest"]["descriptor"]);
    push(2, "a\xff\xe2\x82");
    EXPECT_EQ("a\ufffd\ufffd", statistics(2)["newest"]["descriptor"]);
}

TEST_F(LiveView, EncodesAPictureOnceForAllWhoLookAndNoneForNobody) {
    serve();
    for (int frame = 1; frame <= 10; ++frame) push(frame);
    std::vector<std::thread> viewers;
    for (int viewer = 0; viewer < 6; ++viewer)
        viewers.emplace_back([this] { EXPECT_EQ(200, get("/frame.jpg?level=1")->status); });
    for (std::thread& viewer : viewers) viewer.join();
    EXPECT_EQ(1, statistics(0)["encodings"]);
}

TEST_F(LiveView, StreamsUntilItIsRemoved) {
    serve();
    push(1);
    Viewer first(port()), second(port());
    first.waitForPictures(1);
    push(2);
    first.waitForPictures(2);
    second.waitForPictures(1);
    unload();
    EXPECT_EQ(nullptr, dlopen(LIVEVIEW_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
}

TEST_F(LiveView, LimitsStreamsSoThatOthersAreStillAnswered) {
    serve();
    push(1);
    {
        std::vector<std::unique_ptr<Viewer>> viewers;
        for (int viewer = 0; viewer < 8; ++viewer) viewers.push_back(std::make_unique<Viewer>(port()));
        for (const auto& viewer : viewers) viewer->waitForPictures(1);
        EXPECT_EQ(503, get("/stream.mjpg")->status);
        EXPECT_EQ(200, get("/stats.json")->status);
        configure(R"({"port":0})");  // ends them
    }
    push(2);
    Viewer again(port());
    again.waitForPictures(1);
    unload();
}

TEST_F(LiveView, AnswersOnlyWhoCallsThisMachineByItsName) {
    serve();
    const std::string own = std::to_string(port());
    for (const auto& [host, status] : {std::pair<std::string, int>{"127.0.0.1:" + own, 200},
                                       {"localhost:" + own, 200},
                                       {"localhost", 200},
                                       {"[::1]:" + own, 200},
                                       {"elsewhere.example", 403},
                                       {"127.0.0.1.elsewhere.example:" + own, 403},
                                       {"127.elsewhere.example", 403},
                                       {"localhost.elsewhere.example:" + own, 403},
                                       {"", 403}})
        EXPECT_EQ(status, httplib::Client("127.0.0.1", port()).Get("/stats.json", {{"Host", host}})->status)
            << host;
}

TEST_F(LiveView, AnswersNobodyWhoWantsMoreThanToLook) {
    serve();
    httplib::Client client("127.0.0.1", port());
    for (const auto& [name, value] : {std::pair("Sec-Fetch-Site", "cross-site"), {"Range", "bytes=0-,0-,0-"}})
        EXPECT_EQ(403, client.Get("/", {{name, value}})->status) << name;
    EXPECT_EQ(200, client.Get("/", {{"Sec-Fetch-Site", "same-origin"}})->status);
    EXPECT_EQ(403, client.Post("/", "text", "text/plain")->status);
}

TEST_F(LiveView, ShowsFramesAgainAfterTheClockWasSetBack) {
    serve();
    m_chunkId = 3'600'000;
    push(1);
    m_chunkId = 5;
    push(2);
    EXPECT_EQ(2, statistics(0)["newest"]["frame"]);
}

TEST_F(LiveView, SaysWhenItsPortIsTaken) {
    EXPECT_EQ(LIVEVIEW_STATUS_STOPPED, status());
    httplib::Server other;
    const std::string taken = std::to_string(other.bind_to_any_port("127.0.0.1"));
    for (const std::string& port : {taken, std::string("-1"), std::string("65536")}) {
        configure(("{\"port\":" + port + "}").c_str());
        EXPECT_EQ(LIVEVIEW_STATUS_FAILED, status()) << port;
        EXPECT_EQ(
            "LiveView: 127.0.0.1:" + port + " cannot be opened: configure another \"port\" or \"address\"",
            lines().back());
        EXPECT_EQ(0, this->port());
    }
    serve();
    EXPECT_EQ("LiveView: http://127.0.0.1:" + std::to_string(port()) + "/", lines().back());
}

}  // namespace
