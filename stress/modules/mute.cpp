// A module that takes no frames, so that the engine logs a warning with every frame.
#include <LumetraCore/LumetraModule.h>

std::int32_t getModuleID() {
    return MODULE_ID;
}
