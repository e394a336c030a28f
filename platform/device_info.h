// device_info.h - this machine and the running program as JSON. Any thread; no state.
#ifndef LUMETRA_PLATFORM_DEVICE_INFO_H
#define LUMETRA_PLATFORM_DEVICE_INFO_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lumetra {

/// What is reported of the machine; a fact that could not be found out is written as "unknown".
struct DeviceFacts {
    std::optional<std::string> hostName;        // valid UTF-8
    std::optional<std::string> executablePath;  // valid UTF-8, absolute, links resolved
};

std::string writeDeviceInfo(const DeviceFacts& facts);

/// The system calls behind the facts; a test puts its own in their place.
struct DeviceCalls {
    /// gethostname: 0, or -1. A name that fills the buffer may lack its end.
    std::function<int(char* name, std::size_t size)> hostName;
    /// queryExecutablePath, below.
    std::function<int(char* path, std::uint32_t* size)> executablePath;
    /// realpath into a buffer of known size: `resolved`, or null, also where the result does not fit.
    std::function<char*(const char* path, char* resolved, std::size_t size)> resolvePath;
};

DeviceCalls systemDeviceCalls();
DeviceFacts findDeviceFacts(const DeviceCalls& calls);

/// Writes the path of the running program with its end into `path`, which holds `*size` bytes. One source
/// file for each platform, picked by the build.
/// @return 0 done; -1 too small: `*size` is now what it takes, unchanged if the path cannot be found out
int queryExecutablePath(char* path, std::uint32_t* size);

}  // namespace lumetra

/// Replaces `out` by the description of this machine. The number is not used.
void getDeviceInfo(std::string& out, int unused);

#endif
