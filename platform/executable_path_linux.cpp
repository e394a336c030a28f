// executable_path_linux.cpp - the running program's path from the process's own link.
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/device_info.h"

namespace lumetra {

int queryExecutablePath(char* path, std::uint32_t* size) {
    constexpr std::size_t longest = std::size_t{1} << 16;  // the kernel gives up at one page
    // The system does not say how long the link is, and cuts it silently: read until there is room to spare.
    for (std::size_t room = 256; room <= longest; room *= 2) {
        std::string target(room, '\0');
        const ssize_t length = readlink("/proc/self/exe", target.data(), room);
        if (length <= 0) return -1;

        const auto needed = static_cast<std::size_t>(length) + 1;
        if (needed > room) continue;
        if (needed > *size) {
            *size = static_cast<std::uint32_t>(needed);
            return -1;
        }
        std::memcpy(path, target.c_str(), needed);
        return 0;
    }
    return -1;
}

}  // namespace lumetra
