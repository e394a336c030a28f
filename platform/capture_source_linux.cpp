// capture_source_linux.cpp - the capture devices of V4L2 as plain records.
// A driver answers each enumeration by index until it reports an error; no driver is trusted to do so.
#include "platform/capture_source_linux.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <utility>

#include "base/utf8_repair.h"
#include "platform/capture_source.h"

namespace lumetra {

namespace {

constexpr std::size_t MAX_NODES = 256;       // as many as the kernel numbers
constexpr std::uint32_t MAX_FORMATS = 128;   // of a device
constexpr std::uint32_t MAX_SIZES = 128;     // of a format
constexpr std::uint32_t MAX_INTERVALS = 64;  // of a size
constexpr int MAX_INTERRUPTIONS = 100;       // of a call, by signals

struct PictureSize {
    std::uint32_t width, height;  // pixels
    bool operator==(const PictureSize&) const = default;
};

// What cameras usually offer, smallest first.
constexpr PictureSize COMMON_SIZES[] = {{160, 120},   {176, 144},   {320, 180},   {320, 240},
                                        {352, 288},   {640, 360},   {640, 480},   {800, 600},
                                        {960, 540},   {1024, 768},  {1280, 720},  {1280, 960},
                                        {1600, 1200}, {1920, 1080}, {2560, 1440}, {3840, 2160}};

template <class Call>
int uninterrupted(Call call) {
    int result = call();
    for (int i = 0; result == -1 && errno == EINTR && i < MAX_INTERRUPTIONS; ++i) result = call();
    return result;
}

// One opened node.
class VideoNode {
public:
    VideoNode(const VideoCalls& calls, const std::string& path)
        : m_calls(calls),
          m_fd(uninterrupted([&] { return calls.open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC); })) {}
    ~VideoNode() {  // NOLINT(bugprone-exception-escape): the system's functions do not throw
        if (isOpen()) m_calls.close(m_fd);
    }
    VideoNode(const VideoNode&) = delete;
    VideoNode& operator=(const VideoNode&) = delete;

    bool isOpen() const { return m_fd != -1; }

    template <class Argument>
    bool ask(unsigned long request, Argument& argument) const {
        return uninterrupted([&] { return m_calls.ioctl(m_fd, request, &argument); }) != -1;
    }

private:
    const VideoCalls& m_calls;
    const int m_fd;
};

// The walk through what one node offers; each step narrows the one before.
class ProfileWalk {
public:
    explicit ProfileWalk(const VideoNode& node) : m_node(node) {}

    std::vector<CaptureProfile> run(std::uint32_t bufferType) {
        v4l2_fmtdesc format;
        for (std::uint32_t i = 0; i < MAX_FORMATS && !isFull(); ++i) {
            format = {};
            format.index = i;
            format.type = bufferType;
            if (!m_node.ask(VIDIOC_ENUM_FMT, format)) break;
            addSizes(format.pixelformat);
        }
        return std::move(m_profiles);
    }

private:
    bool isFull() const { return m_profiles.size() >= MAX_LISTED_PROFILES; }

    void addSizes(std::uint32_t pixelFormat) {
        for (std::uint32_t i = 0; i < MAX_SIZES && !isFull(); ++i) {
            v4l2_frmsizeenum size = {};
            size.index = i;
            size.pixel_format = pixelFormat;
            if (!m_node.ask(VIDIOC_ENUM_FRAMESIZES, size)) return;
            if (size.type != V4L2_FRMSIZE_TYPE_DISCRETE) return addSizesOfRange(pixelFormat, size.stepwise);
            addIntervals(pixelFormat, {size.discrete.width, size.discrete.height});
        }
    }

    void addSizesOfRange(std::uint32_t pixelFormat, const v4l2_frmsize_stepwise& range);

    void addIntervals(std::uint32_t pixelFormat, PictureSize size) {
        for (std::uint32_t i = 0; i < MAX_INTERVALS && !isFull(); ++i) {
            v4l2_frmivalenum interval = {};
            interval.index = i;
            interval.pixel_format = pixelFormat;
            interval.width = size.width;
            interval.height = size.height;
            if (!m_node.ask(VIDIOC_ENUM_FRAMEINTERVALS, interval)) return;
            const bool discrete = interval.type == V4L2_FRMIVAL_TYPE_DISCRETE;
            addProfile(size, discrete ? interval.discrete : interval.stepwise.min);
            if (!discrete) return;
        }
    }

    void addProfile(PictureSize size, v4l2_fract interval) {  // seconds a frame
        if (interval.numerator == 0 || interval.denominator == 0) return;
        const double rate = static_cast<double>(interval.denominator) / interval.numerator;
        m_profiles.push_back({size.width, size.height, rate});
    }

    const VideoNode& m_node;
    std::vector<CaptureProfile> m_profiles;
};

// One dimension of a range of sizes. Drivers of ranges without steps may leave the step at 0.
struct Extent {
    Extent(std::uint32_t least, std::uint32_t most, std::uint32_t stepOrNone)
        : min(least), max(most), step(std::max(stepOrNone, 1u)) {}

    bool holds(std::uint32_t value) const {
        return value >= min && value <= max && (value - min) % step == 0;
    }
    std::uint32_t largest() const { return max - (max - min) % step; }

    std::uint32_t min, max, step;
};

void ProfileWalk::addSizesOfRange(std::uint32_t pixelFormat, const v4l2_frmsize_stepwise& range) {
    const Extent width(range.min_width, range.max_width, range.step_width);
    const Extent height(range.min_height, range.max_height, range.step_height);
    if (width.min > width.max || height.min > height.max) return;

    const PictureSize least{width.min, height.min}, most{width.largest(), height.largest()};
    addIntervals(pixelFormat, least);
    for (const PictureSize& size : COMMON_SIZES)
        if (size != least && size != most && width.holds(size.width) && height.holds(size.height))
            addIntervals(pixelFormat, size);
    if (most != least) addIntervals(pixelFormat, most);
}

// The kind of buffer through which a node captures; 0 if it captures no video.
std::uint32_t captureBufferType(const v4l2_capability& capability) {
    const bool ofNode = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0;
    const std::uint32_t flags = ofNode ? capability.device_caps : capability.capabilities;
    if ((flags & (V4L2_CAP_VIDEO_M2M | V4L2_CAP_VIDEO_M2M_MPLANE)) != 0) return 0;
    if ((flags & V4L2_CAP_VIDEO_CAPTURE) != 0) return V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if ((flags & V4L2_CAP_VIDEO_CAPTURE_MPLANE) != 0) return V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE;
    return 0;
}

// A driver may fill the field to its last byte.
template <std::size_t size>
std::string textOf(const __u8 (&field)[size]) {
    const char* text = reinterpret_cast<const char*>(field);
    return repairUtf8({text, strnlen(text, size)});
}

void addDevice(std::vector<CaptureDevice>& devices, const VideoCalls& calls, const std::string& path) {
    const VideoNode node(calls, path);
    v4l2_capability capability = {};
    if (!node.isOpen() || !node.ask(VIDIOC_QUERYCAP, capability)) return;
    const std::uint32_t bufferType = captureBufferType(capability);
    if (bufferType == 0) return;

    devices.push_back({textOf(capability.card), textOf(capability.bus_info) + "@" + path,
                       ProfileWalk(node).run(bufferType)});
}

// The paths of the nodes named "video" and a number, by number.
std::vector<std::string> nodePaths(const VideoCalls& calls) {
    const std::string prefix = "video";
    std::vector<std::pair<std::uint32_t, std::string>> nodes;
    for (const std::string& name : calls.list("/dev")) {
        if (!name.starts_with(prefix)) continue;
        std::uint32_t number = 0;
        std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
        if (name == prefix + std::to_string(number)) nodes.emplace_back(number, "/dev/" + name);
    }
    std::sort(nodes.begin(), nodes.end());

    std::vector<std::string> paths;
    for (auto& [number, path] : nodes)
        if (paths.size() < MAX_NODES) paths.push_back(std::move(path));
    return paths;
}

// Shares the room out, so that one device with an endless list takes nothing from the others.
void fitIntoListing(std::vector<CaptureDevice>& devices) {
    std::vector<std::vector<CaptureProfile>*> lists;
    lists.reserve(devices.size());
    for (CaptureDevice& device : devices) lists.push_back(&device.profiles);
    std::sort(lists.begin(), lists.end(), [](auto* a, auto* b) { return a->size() < b->size(); });

    std::size_t room = MAX_LISTED_PROFILES;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        const std::size_t share = room / (lists.size() - i);
        if (lists[i]->size() > share) lists[i]->resize(share);
        room -= lists[i]->size();
    }
}

std::vector<std::string> namesIn(const char* directory) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory), closedir);
    if (entries == nullptr) return names;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): safe on a stream that nobody else reads
    while (const dirent* entry = readdir(entries.get())) names.emplace_back(entry->d_name);
    return names;
}

}  // namespace

VideoCalls systemVideoCalls() {
    return {namesIn, [](const char* path, int flags) { return open(path, flags); },
            [](int fd, unsigned long request, void* argument) { return ioctl(fd, request, argument); },
            [](int fd) { return close(fd); }};
}

std::vector<CaptureDevice> listV4l2Devices(const VideoCalls& calls) {
    std::vector<CaptureDevice> devices;
    for (const std::string& path : nodePaths(calls)) addDevice(devices, calls, path);
    fitIntoListing(devices);
    return devices;
}

std::vector<CaptureDevice> listCaptureDevices() {
    return listV4l2Devices(systemVideoCalls());
}

}  // namespace lumetra
