// A module that forgot the one function it must have.
#include <LumetraCore/LumetraModule.h>

std::int32_t getStatus() {
    return STATUS_READY;
}
