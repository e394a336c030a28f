// video_device_test.cpp - CameraSource's V4L2 unit over a device that a fake plays.
#include "plugins/CameraSource/video_device_linux.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/fake_v4l2.h"

namespace {

class VideoDevice : public testing::Test {
protected:
    VideoDevice() {
        stop.clear();
        fake.nodes["/dev/video9"].stream = &stream;
        fake.signalsPerCall = 1;
        settings.source = "/dev/video9";
        settings.width = 4;
        settings.height = 2;
        settings.format = LUMETRA_IMGFORMAT_RGB;
    }
    ~VideoDevice() override {
        EXPECT_TRUE(fake.openFds.empty());
        EXPECT_EQ(0, stream.mapped);
        EXPECT_FALSE(stream.isOn);
    }

    std::unique_ptr<FrameProducer> open() {
        return openVideoDevice(
            settings, stop,
            {[this](const char* path) { return fake.open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC); },
             [this](int fd) { return fake.close(fd); },
             [this](int fd, unsigned long request, void* data) { return fake.ioctl(fd, request, data); },
             [this](int, std::size_t size, long) { return stream.map(size); },
             [this](void*, std::size_t) { stream.unmap(); }});
    }

    // 4x2 RGB pixels whose rows are 16 bytes apart.
    FakeStream stream{V4L2_PIX_FMT_RGB24, 4, 16, 32};
    FakeV4l2 fake;
    StopSignal stop;
    CameraSettings settings;
};

TEST_F(VideoDevice, DeliversWholeFramesWithoutTheGapsBetweenRows) {
    const auto producer = open();
    EXPECT_TRUE(stream.isOn);
    EXPECT_TRUE(producer->isPaced());
    stream.deliver(1, 27);                       // short of its last byte
    stream.deliver(2, 32, V4L2_BUF_FLAG_ERROR);  // spoilt
    stream.deliver(3, 28);
    stream.deliver(4, 32);
    Bytes frame;
    for (const int expected : {3, 4}) {
        ASSERT_TRUE(producer->next(frame));
        EXPECT_EQ(Bytes(24, static_cast<std::uint8_t>(expected)), frame);
    }
    stop.raise();
    EXPECT_FALSE(producer->next(frame));
}

TEST_F(VideoDevice, IsRefusedUnlessItHasTheSizeAndFormat) {
    stream.width = 8;
    EXPECT_THROW(open(), std::runtime_error);
    stream.width = 4;
    settings.format = LUMETRA_IMGFORMAT_BGRA;
    EXPECT_THROW(open(), std::runtime_error);
    settings.source = "/dev/video1";
    EXPECT_THROW(open(), std::runtime_error);
}

}  // namespace
