// fake_v4l2.h - video nodes that a test describes, and what they stream, behind the system calls of their
// readers. One thread.
#ifndef LUMETRA_TESTS_SUPPORT_FAKE_V4L2_H
#define LUMETRA_TESTS_SUPPORT_FAKE_V4L2_H

#include <linux/videodev2.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

struct FakeSize {
    v4l2_frmsizeenum size;
    std::vector<v4l2_frmivalenum> intervals;
};
using FakeFormat = std::vector<FakeSize>;

/// What a node streams: pictures of one size and format, through two buffers that the reader maps.
class FakeStream {
public:
    FakeStream(std::uint32_t pixelFormat, std::uint32_t width, std::uint32_t bytesPerLine,
               std::uint32_t bufferBytes);
    ~FakeStream();
    FakeStream(const FakeStream&) = delete;
    FakeStream& operator=(const FakeStream&) = delete;

    /// Fills the next buffer with `fill`.
    void deliver(std::uint8_t fill, std::uint32_t bytesUsed, std::uint32_t flags = 0);

    int ioctl(unsigned long request, void* argument);
    int descriptor() const { return m_ends[0]; }  ///< readable while there is something to take
    void* map(std::size_t size);
    void unmap() { --mapped; }

    std::uint32_t width;
    bool isOn = false;
    int mapped = 0;

private:
    struct Delivery {
        std::uint8_t fill;
        std::uint32_t bytesUsed, flags;
    };

    int take(v4l2_buffer& buffer);

    const std::uint32_t m_pixelFormat, m_bytesPerLine, m_bufferBytes;
    int m_ends[2] = {-1, -1};
    std::vector<Delivery> m_pending;
    std::vector<std::uint32_t> m_queued;  // indexes of buffers
    std::vector<std::unique_ptr<std::vector<std::uint8_t>>> m_memory;
};

struct FakeNode {
    std::string card, bus;
    std::uint32_t capabilities = 0, nodeCapabilities = 0;
    std::vector<FakeFormat> formats;
    int openError = 0;     // errno of open
    bool endless = false;  // answers beyond its last entry with that entry
    FakeStream* stream = nullptr;
};

FakeSize discreteSize(std::uint32_t width, std::uint32_t height, std::vector<v4l2_frmivalenum> intervals);
FakeSize sizeRange(v4l2_frmsize_stepwise range, std::vector<v4l2_frmivalenum> intervals);
v4l2_frmivalenum discreteInterval(std::uint32_t numerator, std::uint32_t denominator);
v4l2_frmivalenum intervalRange(v4l2_fract min, v4l2_fract max);

class FakeV4l2 {
public:
    std::vector<std::string> list(const std::string& directory) const;
    int open(const char* path, int flags);
    int ioctl(int fd, unsigned long request, void* argument);
    int close(int fd);

    std::vector<std::string> names;         // what /dev lists, in this order
    std::map<std::string, FakeNode> nodes;  // by path
    int signalsPerCall = 0;                 // how often each open and ioctl is interrupted first
    std::set<int> openFds;
    int openings = 0;  // tried so far, interrupted ones aside

private:
    bool interrupted();

    int m_signals = 0;
    std::map<int, const FakeNode*> m_nodeOf;
};

#endif
