// executable_path_apple.cpp - the running program's path from the dynamic loader.
#include <mach-o/dyld.h>

#include "platform/device_info.h"

namespace lumetra {

int queryExecutablePath(char* path, std::uint32_t* size) {
    return _NSGetExecutablePath(path, size);
}

}  // namespace lumetra
