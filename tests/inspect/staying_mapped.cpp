// A module that the loader never unmaps when g++ builds it by its defaults.
#include <LumetraCore/LumetraModule.h>

inline int& sharedByAll() {
    static int value = 62;
    return value;
}

std::int32_t getModuleID() {
    return sharedByAll();
}
