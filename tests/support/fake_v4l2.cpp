// fake_v4l2.cpp - answers as the kernel does: EINVAL beyond the last entry, for sizes that no format has
// and for the other kind of buffer.
#include "tests/support/fake_v4l2.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

int fail(int error) {
    errno = error;
    return -1;
}

// The entry at `index`; null beyond the last, unless the driver is one that never ends.
template <class Entry>
const Entry* entryAt(const std::vector<Entry>& entries, std::uint32_t index, bool endless) {
    if (endless && !entries.empty()) index = std::min(index, static_cast<std::uint32_t>(entries.size() - 1));
    return index < entries.size() ? &entries[index] : nullptr;
}

bool holds(const v4l2_frmsizeenum& size, std::uint32_t width, std::uint32_t height) {
    if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE)
        return size.discrete.width == width && size.discrete.height == height;
    const auto onStep = [](std::uint32_t value, std::uint32_t min, std::uint32_t max, std::uint32_t step) {
        return value >= min && value <= max && (step == 0 || (value - min) % step == 0);
    };
    const v4l2_frmsize_stepwise& range = size.stepwise;
    if (range.max_width < range.min_width) return true;  // a driver that never looks
    return onStep(width, range.min_width, range.max_width, range.step_width) &&
           onStep(height, range.min_height, range.max_height, range.step_height);
}

int queryCapability(const FakeNode& node, v4l2_capability& answer) {
    // Full fields carry no end, as those of careless drivers.
    node.card.copy(reinterpret_cast<char*>(answer.card), sizeof answer.card);
    node.bus.copy(reinterpret_cast<char*>(answer.bus_info), sizeof answer.bus_info);
    answer.capabilities = node.capabilities;
    answer.device_caps = node.nodeCapabilities;
    return 0;
}

// The pixel format of a fake is the index of its format.
int enumerateFormat(const FakeNode& node, v4l2_fmtdesc& format) {
    const bool planes = (node.nodeCapabilities & V4L2_CAP_VIDEO_CAPTURE_MPLANE) != 0;
    const auto type = planes ? V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE : V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const FakeFormat* found = entryAt(node.formats, format.index, node.endless);
    if (found == nullptr || format.type != static_cast<std::uint32_t>(type)) return fail(EINVAL);
    format.pixelformat = static_cast<std::uint32_t>(found - node.formats.data());
    return 0;
}

int enumerateSize(const FakeNode& node, v4l2_frmsizeenum& size) {
    const FakeSize* found = entryAt(node.formats.at(size.pixel_format), size.index, node.endless);
    if (found == nullptr) return fail(EINVAL);
    size = found->size;
    return 0;
}

int enumerateInterval(const FakeNode& node, v4l2_frmivalenum& interval) {
    for (const FakeSize& size : node.formats.at(interval.pixel_format)) {
        if (!holds(size.size, interval.width, interval.height)) continue;
        const v4l2_frmivalenum* found = entryAt(size.intervals, interval.index, node.endless);
        if (found == nullptr) return fail(EINVAL);
        interval = *found;
        return 0;
    }
    return fail(EINVAL);
}

}  // namespace

FakeSize discreteSize(std::uint32_t width, std::uint32_t height, std::vector<v4l2_frmivalenum> intervals) {
    v4l2_frmsizeenum size = {};
    size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
    size.discrete = {width, height};
    return {size, std::move(intervals)};
}

FakeSize sizeRange(v4l2_frmsize_stepwise range, std::vector<v4l2_frmivalenum> intervals) {
    v4l2_frmsizeenum size = {};
    size.type = range.step_width == 0 ? V4L2_FRMSIZE_TYPE_CONTINUOUS : V4L2_FRMSIZE_TYPE_STEPWISE;
    size.stepwise = range;
    return {size, std::move(intervals)};
}

v4l2_frmivalenum discreteInterval(std::uint32_t numerator, std::uint32_t denominator) {
    v4l2_frmivalenum interval = {};
    interval.type = V4L2_FRMIVAL_TYPE_DISCRETE;
    interval.discrete = {numerator, denominator};
    return interval;
}

v4l2_frmivalenum intervalRange(v4l2_fract min, v4l2_fract max) {
    v4l2_frmivalenum interval = {};
    interval.type = V4L2_FRMIVAL_TYPE_STEPWISE;
    interval.stepwise = {min, max, {1, 1}};
    return interval;
}

FakeStream::FakeStream(std::uint32_t pixelFormat, std::uint32_t width, std::uint32_t bytesPerLine,
                       std::uint32_t bufferBytes)
    : width(width), m_pixelFormat(pixelFormat), m_bytesPerLine(bytesPerLine), m_bufferBytes(bufferBytes) {
    EXPECT_EQ(0, pipe(m_ends));
}

FakeStream::~FakeStream() {
    ::close(m_ends[0]);
    ::close(m_ends[1]);
}

void FakeStream::deliver(std::uint8_t fill, std::uint32_t bytesUsed, std::uint32_t flags) {
    m_pending.push_back({fill, bytesUsed, flags});
    EXPECT_EQ(1, write(m_ends[1], "x", 1));
}

void* FakeStream::map(std::size_t size) {
    ++mapped;
    return m_memory.emplace_back(std::make_unique<std::vector<std::uint8_t>>(size))->data();
}

int FakeStream::ioctl(unsigned long request, void* argument) {
    auto& buffer = *static_cast<v4l2_buffer*>(argument);
    switch (request) {
        case VIDIOC_S_FMT: {
            v4l2_pix_format& format = static_cast<v4l2_format*>(argument)->fmt.pix;
            format.width = width;
            format.bytesperline = m_bytesPerLine;
            return format.pixelformat == m_pixelFormat ? 0 : fail(EINVAL);
        }
        case VIDIOC_REQBUFS:
            static_cast<v4l2_requestbuffers*>(argument)->count = 2;
            return 0;
        case VIDIOC_QUERYBUF:
            buffer.length = m_bufferBytes;
            return 0;
        case VIDIOC_QBUF:
            m_queued.push_back(buffer.index);
            return 0;
        case VIDIOC_DQBUF:
            return take(buffer);
        case VIDIOC_STREAMON:
        case VIDIOC_STREAMOFF:
            isOn = request == VIDIOC_STREAMON;
            return 0;
        default:
            return fail(ENOTTY);
    }
}

int FakeStream::take(v4l2_buffer& buffer) {
    char byte;
    EXPECT_EQ(1, read(m_ends[0], &byte, 1));
    const Delivery delivery = m_pending.front();
    m_pending.erase(m_pending.begin());
    buffer.index = m_queued.front();
    m_queued.erase(m_queued.begin());
    buffer.bytesused = delivery.bytesUsed;
    buffer.flags = delivery.flags;
    std::vector<std::uint8_t>& memory = *m_memory[buffer.index];
    std::fill(memory.begin(), memory.end(), delivery.fill);
    memory[m_bytesPerLine - 1] = static_cast<std::uint8_t>(~delivery.fill);  // between the rows
    return 0;
}

std::vector<std::string> FakeV4l2::list(const std::string& directory) const {
    return directory == "/dev" ? names : std::vector<std::string>();
}

// Interrupts a call `signalsPerCall` times, then lets it through.
bool FakeV4l2::interrupted() {
    if (m_signals++ < signalsPerCall) return true;
    m_signals = 0;
    return false;
}

int FakeV4l2::open(const char* path, int flags) {
    if (interrupted()) return fail(EINTR);
    const int number = openings++;
    EXPECT_EQ(O_RDWR | O_NONBLOCK | O_CLOEXEC, flags);
    const auto node = nodes.find(path);
    if (node == nodes.end()) return fail(ENOENT);
    if (node->second.openError != 0) return fail(node->second.openError);
    // A number from 0 on is as good a descriptor as any where nobody waits for it.
    const int fd = node->second.stream != nullptr ? node->second.stream->descriptor() : number;
    m_nodeOf[fd] = &node->second;
    openFds.insert(fd);
    return fd;
}

int FakeV4l2::ioctl(int fd, unsigned long request, void* argument) {
    if (openFds.count(fd) == 0) return fail(EBADF);
    if (interrupted()) return fail(EINTR);
    const FakeNode& node = *m_nodeOf.at(fd);
    switch (request) {
        case VIDIOC_QUERYCAP:
            return queryCapability(node, *static_cast<v4l2_capability*>(argument));
        case VIDIOC_ENUM_FMT:
            return enumerateFormat(node, *static_cast<v4l2_fmtdesc*>(argument));
        case VIDIOC_ENUM_FRAMESIZES:
            return enumerateSize(node, *static_cast<v4l2_frmsizeenum*>(argument));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return enumerateInterval(node, *static_cast<v4l2_frmivalenum*>(argument));
        default:
            return node.stream != nullptr ? node.stream->ioctl(request, argument) : fail(ENOTTY);
    }
}

int FakeV4l2::close(int fd) {
    EXPECT_EQ(1u, openFds.erase(fd)) << "closed without being open: " << fd;
    return 0;
}
