// The module CameraSource in a real engine, and its V4L2 unit over a device that the test plays.
#include "plugins/CameraSource/CameraSource.h"

#include <gmock/gmock.h>
#include <linux/videodev2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "plugins/CameraSource/video_device_linux.h"
#include "tests/modules/recorder.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::size_t FRAME_BYTES = 8 * 4 * 2;  // 8x4 YUYV

class CameraSourceModule : public testing::Test {
protected:
    CameraSourceModule() : log(engine) {
        char pattern[] = "/tmp/lumetra-test-XXXXXX";
        folder = mkdtemp(pattern);
        path = folder + "/frames";
        engine.configure(R"({"imageCfg":{"width":8,"height":4},"format":4,"conversionflags":1})");
        EXPECT_EQ(7, engine.registerDllByName("Recorder"));
        EXPECT_EQ(CAMERASOURCE_ID, engine.registerDllByName("CameraSource"));
        engine.registerCallback(CAMERASOURCE_ID, CB_LOG, reinterpret_cast<void*>(&LogCapture::sink), nullptr);
        LogCapture::take();
    }
    ~CameraSourceModule() override {
        engine.unregisterDllByID(CAMERASOURCE_ID);
        engine.unregisterDllByID(7);
        EXPECT_FALSE(isMapped("CameraSource"));
        std::filesystem::remove_all(folder);
    }

    void handOutPush() { engine.registerCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE, nullptr, nullptr); }
    int start(const std::string& rest) {
        engine.initializeDllByID(CAMERASOURCE_ID, (R"({"width":8,"height":4)" + rest + "}").c_str());
        return engine.command(CAMERASOURCE_ID, LUMETRA_CMD_START, "");
    }
    int startFrom(const std::string& rest) { return start(R"(,"source":")" + path + "\"" + rest); }
    void waitForStatus(int status) {
        waitUntil([&] { return engine.getStatus(CAMERASOURCE_ID) == status; });
    }
    // The luma of each frame by its number, once `count` have reached the modules.
    std::map<int, Bytes> receive(std::size_t count) {
        std::map<int, Bytes> frames;
        while (frames.size() < count)
            for (const Notification& notification : recorder("Recorder")->takeNotifications()) {
                const IChnk& chunk = *notification.chunk;
                EXPECT_THAT(chunk.descriptor,
                            HasSubstr(R"({"source":"CameraSource","frame":)" +
                                      std::to_string(chunk.frameIndex) + R"(,"timestampUs":)"));
                frames[chunk.frameIndex] = Bytes(chunk.data->lvl[0], chunk.data->lvl[0] + 32);
            }
        return frames;
    }

    LumetraCoreExecutor engine;
    const LogCapture log;
    std::string folder, path;
};

Bytes lumaOf(const Bytes& frames, std::size_t number) {
    Bytes luma;
    for (std::size_t i = 0; i < FRAME_BYTES; i += 2) luma.push_back(frames[number * FRAME_BYTES + i]);
    return luma;
}

void writeFrames(const std::string& path, const Bytes& frames) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(frames.data()), static_cast<std::streamsize>(frames.size()));
}

}  // namespace

TEST_F(CameraSourceModule, PlaysItsSceneUntilStopped) {
    handOutPush();
    EXPECT_EQ(CAMERASOURCE_STATUS_STOPPED, engine.getStatus(CAMERASOURCE_ID));
    EXPECT_EQ(1, start(R"(,"fps":200)"));
    EXPECT_EQ(STATUS_READY, engine.getStatus(CAMERASOURCE_ID));
    const auto frames = receive(22);  // among so many the disc leaves a pixel, whichever they are
    std::set<Bytes> pictures;
    for (const auto& [number, luma] : frames) pictures.insert(luma);
    EXPECT_LT(1U, pictures.size()) << "the scene moves";
    EXPECT_EQ(1, engine.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, ""));
    EXPECT_EQ(CAMERASOURCE_STATUS_STOPPED, engine.getStatus(CAMERASOURCE_ID));
    engine.command(CAMERASOURCE_ID, static_cast<LUMETRA_CMDTYPE>(CAMERASOURCE_CMD_REPORT), "");
    EXPECT_THAT(LogCapture::take().back(),
                testing::AllOf(HasSubstr("\"pushed\":"), HasSubstr("\"refused\":0")));
}

TEST_F(CameraSourceModule, PlaysTheWholeFramesOfAFile) {
    handOutPush();
    const Bytes frames = randomBytes(3 * FRAME_BYTES + 5, 1);
    writeFrames(path, frames);
    EXPECT_EQ(1, startFrom(R"(,"fps":200)"));
    waitForStatus(CAMERASOURCE_STATUS_ENDED);
    engine.command(CAMERASOURCE_ID, static_cast<LUMETRA_CMDTYPE>(CAMERASOURCE_CMD_REPORT), "");
    EXPECT_THAT(LogCapture::take().back(), HasSubstr("\"pushed\":3,")) << "the fourth is cut off";

    recorder("Recorder")->takeNotifications();
    EXPECT_EQ(1, startFrom(R"(,"fps":200,"loop":true)"));
    for (const auto& [number, luma] : receive(4))
        EXPECT_EQ(lumaOf(frames, static_cast<std::size_t>(number) % 3), luma);
}

TEST_F(CameraSourceModule, WaitsForAPipeAndCanBeStoppedMeanwhile) {
    handOutPush();
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ(1, startFrom(""));
    EXPECT_EQ(1, engine.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, "")) << "nobody writes";
    EXPECT_EQ(1, startFrom(""));
    Bytes frames;
    for (int i = 0; i < 20; ++i) {
        const Bytes frame = randomBytes(FRAME_BYTES, 2);
        frames.insert(frames.end(), frame.begin(), frame.end());
    }
    writeFrames(path, frames);
    EXPECT_EQ(lumaOf(frames, 0), receive(1).begin()->second);
    waitForStatus(CAMERASOURCE_STATUS_ENDED);
}

TEST_F(CameraSourceModule, SaysWhyItDoesNotStart) {
    EXPECT_EQ(0, start(""));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("Warning: CameraSource has no function to push frames with!"));
    handOutPush();
    for (const char* json : {"{}", "[", R"({"width":8,"height":4,"format":"nv12"})",
                             R"({"width":99999,"height":4})", R"({"width":8,"height":"4"})"}) {
        engine.initializeDllByID(CAMERASOURCE_ID, json);
        EXPECT_EQ(0, engine.command(CAMERASOURCE_ID, LUMETRA_CMD_START, ""));
        EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: CameraSource is not configured!")) << json;
    }
    EXPECT_EQ(1, startFrom(""));
    waitForStatus(CAMERASOURCE_STATUS_FAILED);
    waitUntil([&] { return engine.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, "") == 1; });
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("Error: CameraSource: Cannot open " + path + ": No such file or directory!"));
}

namespace {

// A device of 4x2 RGB pixels whose rows are 16 bytes apart, delivering buffers that the test queues.
class PlayedDevice {
public:
    PlayedDevice() : ends{-1, -1} { EXPECT_EQ(0, pipe(ends)); }
    ~PlayedDevice() {
        close(ends[0]);
        close(ends[1]);
    }

    void deliver(std::uint8_t fill, std::uint32_t bytesUsed, std::uint32_t flags) {
        pending.push_back({fill, bytesUsed, flags});
        EXPECT_EQ(1, write(ends[1], "x", 1));
    }

    VideoDeviceCalls calls() {
        return {[this](const char*) { return ++open, ends[0]; }, [this](int) { return --open, 0; },
                [this](int, unsigned long request, void* data) { return control(request, data); },
                [this](int, std::size_t size, long) -> void* {
                    ++mapped;
                    return memory.emplace_back(std::make_unique<Bytes>(size))->data();
                },
                [this](void*, std::size_t) { --mapped; }};
    }

    int open = 0, mapped = 0;
    bool streaming = false;
    std::uint32_t width = 4;

private:
    struct Delivery {
        std::uint8_t fill;
        std::uint32_t bytesUsed, flags;
    };

    int control(unsigned long request, void* data) {
        if (interrupted = !interrupted; interrupted) return errno = EINTR, -1;
        auto* const buffer = static_cast<v4l2_buffer*>(data);
        switch (request) {
            case VIDIOC_S_FMT: {
                auto& format = static_cast<v4l2_format*>(data)->fmt.pix;
                format.width = width;
                format.bytesperline = 16;
                return format.pixelformat == V4L2_PIX_FMT_RGB24 ? 0 : (errno = EINVAL, -1);
            }
            case VIDIOC_S_PARM:
                return errno = ENOTTY, -1;
            case VIDIOC_REQBUFS:
                static_cast<v4l2_requestbuffers*>(data)->count = 2;
                return 0;
            case VIDIOC_QUERYBUF:
                buffer->length = 32;
                return 0;
            case VIDIOC_QBUF:
                queued.push_back(buffer->index);
                return 0;
            case VIDIOC_STREAMON:
            case VIDIOC_STREAMOFF:
                streaming = request == VIDIOC_STREAMON;
                return 0;
            case VIDIOC_DQBUF: {
                char byte;
                EXPECT_EQ(1, read(ends[0], &byte, 1));
                buffer->index = queued.front();
                queued.erase(queued.begin());
                buffer->bytesused = pending.front().bytesUsed;
                buffer->flags = pending.front().flags;
                std::fill(memory[buffer->index]->begin(), memory[buffer->index]->end(), pending.front().fill);
                (*memory[buffer->index])[15] = 0xEE;  // between the rows
                pending.erase(pending.begin());
                return 0;
            }
            default:
                return errno = EINVAL, -1;
        }
    }

    int ends[2];
    bool interrupted = false;
    std::vector<Delivery> pending;
    std::vector<std::uint32_t> queued;
    std::vector<std::unique_ptr<Bytes>> memory;
};

CameraSettings deviceSettings() {
    CameraSettings settings;
    settings.source = "/dev/video9";
    settings.width = 4;
    settings.height = 2;
    settings.format = LUMETRA_IMGFORMAT_RGB;
    return settings;
}

}  // namespace

TEST(VideoDevice, DeliversWholeFramesWithoutTheGapsBetweenRows) {
    PlayedDevice device;
    StopSignal stop;
    stop.clear();
    {
        const auto producer = openVideoDevice(deviceSettings(), stop, device.calls());
        EXPECT_TRUE(device.streaming);
        EXPECT_TRUE(producer->isPaced());
        device.deliver(1, 27, 0);                    // short of its last byte
        device.deliver(2, 32, V4L2_BUF_FLAG_ERROR);  // spoilt
        device.deliver(3, 28, 0);
        device.deliver(4, 32, 0);
        Bytes frame;
        for (const int expected : {3, 4}) {
            ASSERT_TRUE(producer->next(frame));
            EXPECT_EQ(Bytes(24, static_cast<std::uint8_t>(expected)), frame);
        }
        stop.raise();
        EXPECT_FALSE(producer->next(frame));
    }
    EXPECT_EQ(0, device.open);
    EXPECT_EQ(0, device.mapped);
    EXPECT_FALSE(device.streaming);
}

TEST(VideoDevice, IsRefusedUnlessItHasTheSizeAndFormat) {
    PlayedDevice device;
    StopSignal stop;
    stop.clear();
    device.width = 8;
    EXPECT_THROW(openVideoDevice(deviceSettings(), stop, device.calls()), std::runtime_error);
    device.width = 4;
    CameraSettings bgra = deviceSettings();
    bgra.format = LUMETRA_IMGFORMAT_BGRA;
    EXPECT_THROW(openVideoDevice(bgra, stop, device.calls()), std::runtime_error);
    EXPECT_EQ(0, device.open);
}
