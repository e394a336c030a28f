// capture_source_linux_test.cpp - the V4L2 walk over nodes that a fake plays.
#include "platform/capture_source_linux.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/fake_v4l2.h"

using namespace lumetra;

namespace {

using Profiles = std::vector<CaptureProfile>;

FakeNode camera(std::string card, std::vector<FakeFormat> formats) {
    constexpr std::uint32_t capture = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    return {std::move(card), "usb-1", capture | V4L2_CAP_DEVICE_CAPS, capture, std::move(formats)};
}

FakeFormat vga() {
    return {discreteSize(640, 480, {discreteInterval(1, 30)})};
}

class V4l2Listing : public testing::Test {
protected:
    ~V4l2Listing() override { EXPECT_TRUE(fake.openFds.empty()) << "descriptors left open"; }

    FakeNode& addNode(unsigned number, FakeNode node) {
        fake.names.push_back("video" + std::to_string(number));
        return fake.nodes["/dev/" + fake.names.back()] = std::move(node);
    }
    std::vector<CaptureDevice> list() {
        return listV4l2Devices({[this](const char* directory) { return fake.list(directory); },
                                [this](const char* path, int flags) { return fake.open(path, flags); },
                                [this](int fd, unsigned long request, void* argument) {
                                    return fake.ioctl(fd, request, argument);
                                },
                                [this](int fd) { return fake.close(fd); }});
    }
    Profiles profilesOfOnly(FakeNode node) {
        addNode(0, std::move(node));
        const auto devices = list();
        return devices.size() == 1 ? devices[0].profiles : Profiles();
    }

    FakeV4l2 fake;
};

TEST_F(V4l2Listing, NamesTwoCamerasByNumberAndSkipsTheMetadataNodeBetween) {
    addNode(10, camera("Back", {vga()}));
    addNode(2, camera("Front", {{discreteSize(1280, 720, {discreteInterval(1, 30), discreteInterval(1, 60)}),
                                 discreteSize(640, 480, {discreteInterval(2, 15)})},
                                vga()}));
    addNode(3, camera("Front", {vga()}))  // the flags of the whole device include capture
        .nodeCapabilities = V4L2_CAP_META_CAPTURE;
    for (const char* other : {"video", "video2x", "video02", "video-1", "v4l", "video99999999999"})
        fake.names.emplace_back(other);
    fake.signalsPerCall = 2;

    const auto devices = list();

    ASSERT_EQ(2u, devices.size());
    EXPECT_EQ("Front", devices[0].name);
    EXPECT_EQ("usb-1@/dev/video2", devices[0].uniqueId);
    EXPECT_EQ((Profiles{{1280, 720, 30.0}, {1280, 720, 60.0}, {640, 480, 7.5}, {640, 480, 30.0}}),
              devices[0].profiles);
    EXPECT_EQ("Back", devices[1].name);
    EXPECT_EQ("usb-1@/dev/video10", devices[1].uniqueId);
    EXPECT_EQ(3, fake.openings);  // nothing but nodes with a number
}

TEST_F(V4l2Listing, TellsCamerasFromOtherNodesByTheirFlags) {
    constexpr std::uint32_t whole = V4L2_CAP_DEVICE_CAPS;
    const struct {
        std::uint32_t capabilities, nodeCapabilities;
        bool listed;
    } cases[] = {
        {V4L2_CAP_VIDEO_CAPTURE, 0, true},  // an old driver, without flags of the node
        {V4L2_CAP_VIDEO_CAPTURE_MPLANE | whole, V4L2_CAP_VIDEO_CAPTURE_MPLANE, true},
        {whole, V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT, true},  // a loopback camera
        {V4L2_CAP_VIDEO_CAPTURE | whole, V4L2_CAP_VIDEO_OUTPUT, false},
        {whole, V4L2_CAP_VIDEO_M2M, false},
        {whole, V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_M2M_MPLANE, false},
        {V4L2_CAP_RADIO, V4L2_CAP_VIDEO_CAPTURE, false},
    };
    for (const auto& node : cases) {
        fake = FakeV4l2();
        addNode(0, {"", "", node.capabilities, node.nodeCapabilities, {vga()}});
        const auto devices = list();
        ASSERT_EQ(node.listed, devices.size() == 1) << node.capabilities << ", " << node.nodeCapabilities;
        for (const CaptureDevice& device : devices) EXPECT_EQ((Profiles{{640, 480, 30.0}}), device.profiles);
    }
}

TEST_F(V4l2Listing, LeavesOutNodesThatDoNotOpen) {
    addNode(0, camera("Busy", {vga()})).openError = EBUSY;
    FakeNode& free = addNode(1, camera("Free", {vga()}));
    fake.names.emplace_back("video7");  // gone since the directory was read
    const auto devices = list();
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ("Free", devices[0].name);

    free.openError = EINTR;  // for ever
    EXPECT_TRUE(list().empty());
}

TEST_F(V4l2Listing, OffersEndsAndFittingCommonSizesOfARange) {
    const auto anyRate = intervalRange({1, 90}, {1, 1});
    // Widths are 40, 64 and so on to 1288, heights 30, 60 and so on to 990.
    EXPECT_EQ(
        (Profiles{{40, 30, 90.0}, {160, 120, 90.0}, {640, 360, 90.0}, {640, 480, 90.0}, {1288, 990, 90.0}}),
        profilesOfOnly(camera("", {{sizeRange({40, 1300, 24, 30, 1000, 30}, {anyRate})}})));
}

TEST_F(V4l2Listing, WalksRangesWithoutStepsWithOneSizeAndUpsideDown) {
    const auto rate = discreteInterval(1, 25);
    EXPECT_EQ((Profiles{{320, 200, 25.0},
                        {320, 240, 25.0},
                        {352, 288, 25.0},
                        {640, 360, 25.0},
                        {640, 480, 25.0},
                        {720, 576, 25.0}}),
              profilesOfOnly(camera("", {{sizeRange({320, 640, 0, 200, 480, 0}, {rate})},
                                         {sizeRange({720, 720, 8, 576, 576, 8}, {rate})},
                                         {sizeRange({900, 720, 8, 576, 576, 8}, {rate})}})));
}

TEST_F(V4l2Listing, TakesTheHighestRateOfARangeAndNoneOfAnEmptyInterval) {
    const auto ranges = {intervalRange({1001, 60000}, {1, 5}), discreteInterval(1, 1)};
    const auto mixed = {discreteInterval(0, 30), discreteInterval(1, 0), discreteInterval(2, 1)};
    EXPECT_EQ((Profiles{{640, 480, 60000.0 / 1001.0}, {320, 240, 0.5}}),
              profilesOfOnly(camera("", {{discreteSize(640, 480, ranges), discreteSize(320, 240, mixed),
                                          discreteSize(160, 120, {})}})));
}

TEST_F(V4l2Listing, CutsEndlessDriversOnly) {
    addNode(0, camera("Endless", {vga()})).endless = true;
    addNode(1, camera("Sound", {vga(), vga()}));
    addNode(2, camera("Endless too", {vga()})).endless = true;
    const auto devices = list();
    ASSERT_EQ(3u, devices.size());
    EXPECT_EQ((MAX_LISTED_PROFILES - 2) / 2, devices[0].profiles.size());
    EXPECT_EQ(2u, devices[1].profiles.size());
    EXPECT_EQ((MAX_LISTED_PROFILES - 2) / 2, devices[2].profiles.size());

    // Endless lists that never come to a profile end as well.
    addNode(3, camera("", {FakeFormat()})).endless = true;
    addNode(4, camera("", {{discreteSize(640, 480, {})}})).endless = true;
    addNode(5, camera("", {{discreteSize(640, 480, {discreteInterval(0, 1)})}})).endless = true;
    EXPECT_EQ(6u, list().size());
}

TEST_F(V4l2Listing, NeverOutgrowsTheBuffersOfHosts) {
    constexpr std::uint32_t wide = 4'000'000'000;
    const FakeFormat format = {discreteSize(wide, wide, {discreteInterval(4'294'967'291, 1)})};
    for (unsigned i = 0; i < 300; ++i) {
        FakeNode& node = addNode(1000 + i, camera(std::string(32, '\x01'), {format}));
        node.bus = std::string(32, '\x02');
        node.endless = true;
    }
    const auto devices = list();
    EXPECT_EQ(256u, devices.size());
    EXPECT_GT(1'048'576u, writeDeviceListing(devices).size());
}

TEST_F(V4l2Listing, RepairsNamesThatAreNoUtf8) {
    const struct {
        std::string card, name;
    } cases[] = {
        {"Caméra \xF0\x9F\x93\xB7", "Caméra \xF0\x9F\x93\xB7"},
        {"a\xFF\xC3", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
        {std::string(31, 'x') + "\xC3\xA9", std::string(31, 'x') + "\xEF\xBF\xBD"},  // cut by the field's end
        {"", ""},
    };
    for (const auto& [card, name] : cases) {
        fake = FakeV4l2();
        addNode(0, camera(card, {}));
        const auto devices = list();
        ASSERT_EQ(1u, devices.size());
        EXPECT_EQ(name, devices[0].name);
        EXPECT_TRUE(devices[0].profiles.empty());
    }
}

TEST(V4l2SystemCalls, ReachTheSystem) {
    const VideoCalls calls = systemVideoCalls();
    EXPECT_THAT(calls.list("/dev"), testing::Contains("null"));
    EXPECT_TRUE(calls.list("/no such directory").empty());
    const int fd = calls.open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_NE(-1, fd);
    v4l2_capability capability = {};
    EXPECT_EQ(-1, calls.ioctl(fd, VIDIOC_QUERYCAP, &capability));
#ifdef LUMETRA_EMULATED  // the emulator may know no request of video devices
    EXPECT_THAT(errno, testing::AnyOf(ENOTTY, ENOSYS));
#else
    EXPECT_EQ(ENOTTY, errno);
#endif
    EXPECT_EQ(0, calls.close(fd));
    EXPECT_EQ(-1, calls.close(fd));
}

}  // namespace
