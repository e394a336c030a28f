// A module that was linked without the unit that defines a function of its own.
#include <LumetraCore/LumetraModule.h>

LUMETRA_EXPORT void nobodyDefinesThis();

std::int32_t getModuleID() {
    return 61;
}
std::int32_t getStatus() {
    return STATUS_READY;
}
void initialize(const char*) {
    nobodyDefinesThis();
}
