// LiveView_test.cpp - the module as hosts load it, asked over the network as browsers and others do.
#include "plugins/LiveView/LiveView.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <numeric>
#include <thread>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/jpeg_decoding.h"
#include "tests/support/loaded_module.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
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

// Many clients that send a request without end, a byte now and then, so that none is ever silent for long.
class SlowClients {
public:
    SlowClients(int port, int count) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int client = 0; client < count; ++client) {
            m_sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
            EXPECT_EQ(0, connect(m_sockets.back(), reinterpret_cast<sockaddr*>(&address), sizeof address));
            EXPECT_EQ(16, ::send(m_sockets.back(), "GET / HTTP/1.1\r\n", 16, MSG_NOSIGNAL));
        }
        m_thread = std::thread([this] {
            for (; !m_ending; std::this_thread::sleep_for(10ms))
                for (const int client : m_sockets) ::send(client, "x", 1, MSG_NOSIGNAL | MSG_DONTWAIT);
        });
    }
    ~SlowClients() {
        m_ending = true;
        m_thread.join();
        for (const int client : m_sockets) close(client);
    }

private:
    std::vector<int> m_sockets;
    std::atomic<bool> m_ending = false;
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
    EXPECT_EQ(1, document["missing"]);
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

TEST_F(LiveView, SendsAPictureOnlyToWhoeverHasNotSeenIt) {
    serve();
    push(1, "{}");
    const auto first = get("/frame.jpg?level=1");
    const std::string seen = "/frame.jpg?level=1&after=" + first->get_header_value("X-Lumetra-Picture");
    EXPECT_EQ("1", first->get_header_value("X-Lumetra-Frame"));
    EXPECT_EQ("8x8", first->get_header_value("X-Lumetra-Size"));
    const auto again = get(seen);
    EXPECT_EQ(204, again->status);
    EXPECT_NE("", again->get_header_value("X-Lumetra-Age-Ms"));
    push(2);
    EXPECT_EQ("2", get(seen)->get_header_value("X-Lumetra-Frame"));
    notify(++m_chunkId, chunkOf(1, 1, LUMETRA_IMGFORMAT_RGB, randomBytes(3, 1)));
    EXPECT_EQ("the frames are not grey now\n", get(seen)->body);
}

TEST_F(LiveView, LetsEightViewersInAndTellsTheNinthWhy) {
    serve();
    push(1);
    for (int viewer = 0; viewer < 8; ++viewer)
        EXPECT_EQ(200, get("/frame.jpg?viewer=" + std::to_string(viewer))->status);
    const auto ninth = get("/frame.jpg?viewer=8");
    EXPECT_EQ(503, ninth->status);
    EXPECT_THAT(ninth->body, StartsWith("eight viewers look already"));
    EXPECT_EQ(200, get("/frame.jpg?viewer=7")->status);
    EXPECT_EQ(200, get("/stats.json")->status) << "a script";
}

TEST_F(LiveView, HandsOnWhatItsHostSends) {
    serve();
    EXPECT_EQ(1, send(LIVEVIEW_CMD_RESULT, R"(TagTracker {"frame":7,"outlines":[]})"));
    EXPECT_EQ(0, send(LIVEVIEW_CMD_RESULT, "TagTracker frame 7"));
    EXPECT_EQ(1, send(LIVEVIEW_CMD_LOG, "a line"));
    const json texts = json::parse(get("/texts.json")->body);
    EXPECT_EQ(7, texts["results"][0]["result"]["frame"]);
    EXPECT_EQ("a line", texts["log"][0]["line"]);
    EXPECT_TRUE(json::parse(get("/texts.json?after=" + texts["next"].dump())->body)["log"].empty());
}

TEST_F(LiveView, AnswersOthersAndEndsWhileSlowClientsHoldConnections) {
    serve();
    push(1);
    const SlowClients clients(port(), 200);
    const auto answer = get("/frame.jpg");
    ASSERT_TRUE(answer) << "no connection is left, or none in time";
    EXPECT_EQ(200, answer->status);
    unload();
    EXPECT_EQ(nullptr, dlopen(LIVEVIEW_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
}

TEST_F(LiveView, AnswersOnlyWhoCallsThisMachineByItsName) {
    configure(R"({"port":0,"name":"board.local"})");
    const std::string own = std::to_string(port());
    for (const auto& [host, status] : {std::pair<std::string, int>{"127.0.0.1:" + own, 200},
                                       {"localhost:" + own, 200},
                                       {"localhost", 200},
                                       {"[::1]:" + own, 200},
                                       {"Board.local:" + own, 200},
                                       {"board.local.", 200},
                                       {"board.local.elsewhere.example", 403},
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
    EXPECT_EQ(403, client.Get("/", {{"Sec-Fetch-Site", "cross-site"}})->status);
    EXPECT_EQ(200, client.Get("/", {{"Sec-Fetch-Site", "same-origin"}})->status);
    const auto follow = [&](const char* path, const char* destination) {
        return client
            .Get(path, {{"Sec-Fetch-Site", "cross-site"},
                        {"Sec-Fetch-Mode", "navigate"},
                        {"Sec-Fetch-Dest", destination}})
            ->status;
    };
    EXPECT_EQ(200, follow("/", "document")) << "a link to the page";
    EXPECT_EQ(403, follow("/", "iframe"));
    EXPECT_EQ(403, follow("/stats.json", "document"));
    EXPECT_EQ(403, client.Post("/", "text", "text/plain")->status);
    EXPECT_EQ(404, client.Get("/../../etc/passwd")->status);
}

TEST_F(LiveView, OutlivesRequestsOfAnySize) {
    serve();
    const std::string range = "bytes=" + std::string(2000, '1') + "-";
    EXPECT_EQ(200, httplib::Client("127.0.0.1", port()).Get("/", {{"Range", range}})->status);
    httplib::Headers many;
    for (int header = 0; header < 100; ++header) many.emplace("X-" + std::to_string(header), "1");
    EXPECT_EQ(403, httplib::Client("127.0.0.1", port()).Get("/", many)->status);
    for (const httplib::Headers& large :
         {httplib::Headers{{"X-Large", std::string(100'000, 'x')}}, {{"Cookie", std::string(30'000, '=')}}}) {
        const auto answer = httplib::Client("127.0.0.1", port()).Get("/", large);
        EXPECT_TRUE(!answer || answer->status >= 400);
    }
    const auto longest = get("/" + std::string(50'000, 'a'));
    EXPECT_TRUE(!longest || longest->status >= 400);
    EXPECT_EQ(200, get("/")->status);
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
    for (const auto& [port, reason] : {std::pair<std::string, std::string>{taken, "Address already in use"},
                                       {"-1", "no such port"},
                                       {"65536", "no such port"}}) {
        configure(("{\"port\":" + port + "}").c_str());
        EXPECT_EQ(LIVEVIEW_STATUS_FAILED, status()) << port;
        EXPECT_THAT(lines().back(),
                    AllOf(StartsWith("Error: LiveView: 127.0.0.1:" + port + " cannot be opened ("),
                          HasSubstr(reason)));
        EXPECT_EQ(0, this->port());
    }
    serve();
    EXPECT_EQ("LiveView: http://127.0.0.1:" + std::to_string(port()) + "/", lines().back());
}

TEST_F(LiveView, SaysWhenTheSystemHasNoThreadForIt) {
    const auto serveWithoutThreads = [this] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        if (getuid() == 0 && setuid(65534) != 0) std::_Exit(1);  // to whom limits do apply
        configure(R"({"port":0})");
        const bool isClear = status() == LIVEVIEW_STATUS_FAILED && port() == 0 &&
                             lines().back().find("thread") != std::string::npos;
        std::fprintf(stderr, "%s\n", lines().back().c_str());
        std::_Exit(isClear ? 0 : 1);
    };
    EXPECT_EXIT(serveWithoutThreads(), testing::ExitedWithCode(0), "cannot be opened");
}

}  // namespace
