// A module that exports its id and nothing else; MODULE_ID comes from the build.
#include <LumetraCore/LumetraModule.h>

std::int32_t getModuleID() {
    return MODULE_ID;
}
