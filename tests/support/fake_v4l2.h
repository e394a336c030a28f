// fake_v4l2.h - video nodes that a test describes, played through the table of system calls.
// One thread. Own it for as long as the table that calls() returns is in use.
#ifndef LUMETRA_TESTS_SUPPORT_FAKE_V4L2_H
#define LUMETRA_TESTS_SUPPORT_FAKE_V4L2_H

#include <linux/videodev2.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/capture_source_linux.h"

struct FakeSize {
    v4l2_frmsizeenum size;
    std::vector<v4l2_frmivalenum> intervals;
};
using FakeFormat = std::vector<FakeSize>;

struct FakeNode {
    std::string card, bus;
    std::uint32_t capabilities = 0, nodeCapabilities = 0;
    std::vector<FakeFormat> formats;
    int openError = 0;     // errno of open
    bool endless = false;  // answers beyond its last entry with that entry
};

FakeSize discreteSize(std::uint32_t width, std::uint32_t height, std::vector<v4l2_frmivalenum> intervals);
FakeSize sizeRange(v4l2_frmsize_stepwise range, std::vector<v4l2_frmivalenum> intervals);
v4l2_frmivalenum discreteInterval(std::uint32_t numerator, std::uint32_t denominator);
v4l2_frmivalenum intervalRange(v4l2_fract min, v4l2_fract max);

class FakeV4l2 {
public:
    VideoCalls calls();

    std::vector<std::string> names;         // what /dev lists, in this order
    std::map<std::string, FakeNode> nodes;  // by path
    int signalsPerCall = 0;                 // how often each open and ioctl is interrupted first
    std::set<int> openFds;
    int openings = 0;  // tried so far, interrupted ones aside

private:
    bool interrupted();
    int open(const char* path, int flags);
    int ioctl(int fd, unsigned long request, void* argument);
    int close(int fd);

    int m_signals = 0;
    std::map<int, const FakeNode*> m_nodeOf;
};

#endif
