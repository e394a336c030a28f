// capture_source_linux.h - the enumeration of V4L2 devices, with replaceable system calls.
// Any thread; no state; every file descriptor that is opened is closed again.
#ifndef LUMETRA_PLATFORM_CAPTURE_SOURCE_LINUX_H
#define LUMETRA_PLATFORM_CAPTURE_SOURCE_LINUX_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/device_listing.h"

namespace lumetra {

/// The system calls behind the walk, each as the system has it: -1 and errno where it fails.
struct VideoCalls {
    std::function<std::vector<std::string>(const char* directory)> list;  // names; none if it fails
    std::function<int(const char* path, int flags)> open;
    std::function<int(int fd, unsigned long request, void* argument)> ioctl;
    std::function<int(int fd)> close;
};

VideoCalls systemVideoCalls();

/// A listing of this many profiles, however their devices are called, stays below the 1,048,576 UTF-16
/// units that hosts provide: 256 nodes take up to 480 units each, a profile up to 132.
constexpr std::size_t MAX_LISTED_PROFILES = 7000;

/// The devices behind /dev/video*, by the number of their node. Left out: what cannot be opened or
/// captures no video, such as outputs, metadata nodes and converters from memory to memory.
/// - The identifier is the bus position, "@" and the node: unique for each node, and the same as long as
///   camera and node stay where they are. The node is what follows the last "@".
/// - A size given as a range is listed by its ends and by the common sizes between that fit its steps.
/// - An interval given as a range is one profile, at its highest rate. Intervals without a rate are
///   left out.
/// - Where all devices together have more than MAX_LISTED_PROFILES profiles, the longest lists are cut.
std::vector<CaptureDevice> listV4l2Devices(const VideoCalls& calls);

}  // namespace lumetra

#endif
