// A module whose getModuleID throws an exception of its own.
#include <LumetraCore/LumetraModule.h>

namespace {
struct OwnError {
    virtual ~OwnError() {}
};
}  // namespace

std::int32_t getModuleID() {
    throw OwnError();
}
