// dyld.h - the one call of the dynamic loader that the library makes. Any thread.
#ifndef LUMETRA_TESTS_APPLE_DYLD_H
#define LUMETRA_TESTS_APPLE_DYLD_H

#include <cstdint>

extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size);

#endif
