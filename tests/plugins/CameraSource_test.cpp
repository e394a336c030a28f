// CameraSource_test.cpp - the module as hosts load it, with a push function of the test's own.
#include "plugins/CameraSource/CameraSource.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <map>
#include <set>
#include <stdexcept>

#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/waiting.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::size_t FRAME_BYTES = 8 * 4 * 2;  // 8x4 YUYV

class CameraSource : public testing::Test, protected LoadedModule {
protected:
    CameraSource() : LoadedModule(CAMERASOURCE_LIBRARY) {}
    ~CameraSource() override {
        unload();
        EXPECT_EQ(nullptr, dlopen(CAMERASOURCE_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
    }

    void handOutPush(LUMETRA_PUSHFN push = &onPush) {
        setCallback(CB_PUSHNATIVEIMAGE, reinterpret_cast<void*>(push), this);
    }
    int start(const std::string& rest) {
        configure((R"({"width":8,"height":4)" + rest + "}").c_str());
        return send(LUMETRA_CMD_START);
    }
    int startFrom(const std::string& path, const std::string& rest = "") {
        return start(R"(,"source":")" + path + "\"" + rest);
    }
    void waitForStatus(int wanted) {
        waitUntil([&] { return status() == wanted; });
    }
    /// The frames since the last call by their number, once there are `count`.
    std::map<int, Bytes> receive(std::size_t count) {
        std::map<int, Bytes> frames;
        waitUntil([&] {
            const std::lock_guard lock(m_mutex);
            if (m_frames.size() < count) return false;
            frames.swap(m_frames);
            return true;
        });
        return frames;
    }
    std::string report() {
        send(CAMERASOURCE_CMD_REPORT);
        return lines().back();
    }

private:
    static int onPush(void* context, const unsigned char* data, int size, const char* descriptor, int index) {
        EXPECT_THAT(descriptor, HasSubstr(R"({"source":"CameraSource","frame":)" + std::to_string(index) +
                                          R"(,"timestampUs":)"));
        auto& self = *static_cast<CameraSource*>(context);
        const std::lock_guard lock(self.m_mutex);
        self.m_frames[index] = Bytes(data, data + size);
        return 1;
    }

    std::mutex m_mutex;
    std::map<int, Bytes> m_frames;  // guarded by m_mutex
};

std::string textOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes frameOf(const Bytes& frames, std::size_t number) {
    const auto begin = frames.begin() + static_cast<std::ptrdiff_t>(number * FRAME_BYTES);
    return {begin, begin + FRAME_BYTES};
}

TEST_F(CameraSource, PlaysItsSceneUntilStopped) {
    handOutPush();
    EXPECT_EQ(CAMERASOURCE_STATUS_STOPPED, status());
    EXPECT_EQ(1, start(R"(,"fps":200)"));
    EXPECT_EQ(STATUS_READY, status());
    const auto frames = receive(22);  // among so many the disc leaves a pixel, whichever they are
    std::set<Bytes> pictures;
    for (const auto& [number, frame] : frames) pictures.insert(frame);
    EXPECT_LT(1U, pictures.size()) << "the scene moves";
    EXPECT_EQ(1, send(LUMETRA_CMD_STOP));
    EXPECT_EQ(CAMERASOURCE_STATUS_STOPPED, status());
    EXPECT_THAT(report(), AllOf(HasSubstr("\"pushed\":"), HasSubstr("\"refused\":0")));
}

TEST_F(CameraSource, PlaysTheWholeFramesOfAFile) {
    handOutPush();
    const TemporaryFolder folder;
    const Bytes frames = randomBytes(3 * FRAME_BYTES + 5, 1);
    const std::string path = folder.write("fr\u00e4mes", textOf(frames));
    EXPECT_EQ(1, startFrom(path, R"(,"fps":200)"));
    waitForStatus(CAMERASOURCE_STATUS_ENDED);
    EXPECT_THAT(report(), HasSubstr("\"pushed\":3,")) << "the fourth is cut off";

    receive(3);
    EXPECT_EQ(1, startFrom(path, R"(,"fps":200,"loop":true)"));
    for (const auto& [number, frame] : receive(4))
        EXPECT_EQ(frameOf(frames, static_cast<std::size_t>(number) % 3), frame);
}

TEST_F(CameraSource, WaitsForAPipeAndCanBeStoppedMeanwhile) {
    handOutPush();
    const TemporaryFolder folder;
    const std::string path = folder.file("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ(1, startFrom(path));
    EXPECT_EQ(1, send(LUMETRA_CMD_STOP)) << "nobody writes";
    EXPECT_EQ(1, startFrom(path));
    const Bytes frames = randomBytes(3 * FRAME_BYTES, 2);
    folder.write("pipe", textOf(frames));
    for (const auto& [number, frame] : receive(3))
        EXPECT_EQ(frameOf(frames, static_cast<std::size_t>(number)), frame);
    waitForStatus(CAMERASOURCE_STATUS_ENDED);
}

TEST_F(CameraSource, CountsFramesThatAreRefusedAndGoesOn) {
    const TemporaryFolder folder;
    const std::string path = folder.write("frames", std::string(3 * FRAME_BYTES, 'x'));
    handOutPush([](void*, const unsigned char*, int, const char*, int index) {
        if (index == 1) throw std::runtime_error("no memory");
        return index == 0 ? 0 : 1;
    });
    EXPECT_EQ(1, startFrom(path, R"(,"fps":200)"));
    waitForStatus(CAMERASOURCE_STATUS_ENDED);
    EXPECT_THAT(report(), HasSubstr("\"pushed\":1,\"refused\":2,"));
    EXPECT_EQ("Warning: CameraSource: a frame was refused: no memory!", lines().front());
}

TEST_F(CameraSource, SaysWhyItDoesNotStart) {
    EXPECT_EQ(0, start(""));
    EXPECT_THAT(lines(), ElementsAre("Warning: CameraSource has no function to push frames with!"));
    handOutPush();
    for (const char* json : {"{}", "[", R"({"width":8,"height":4,"format":"nv12"})",
                             R"({"width":99999,"height":4})", R"({"width":8,"height":"4"})"}) {
        configure(json);
        clearLines();
        EXPECT_EQ(0, send(LUMETRA_CMD_START));
        EXPECT_THAT(lines(), ElementsAre("Warning: CameraSource is not configured!")) << json;
    }
    clearLines();
    EXPECT_EQ(1, startFrom("/nowhere/fr\u00e4mes"));
    waitForStatus(CAMERASOURCE_STATUS_FAILED);
    send(LUMETRA_CMD_STOP);  // until its thread is gone
    EXPECT_THAT(lines(), ElementsAre("Error: CameraSource: Cannot open /nowhere/fr\u00e4mes: "
                                     "No such file or directory!"));
}

}  // namespace
