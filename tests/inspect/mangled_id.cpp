// A module whose author declared the entry point by hand, so that the compiler gave it a C++ name.
#include <cstdint>

__attribute__((visibility("default"))) std::int32_t getModuleID();

std::int32_t getModuleID() {
    return 63;
}
