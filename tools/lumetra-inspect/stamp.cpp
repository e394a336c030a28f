// stamp.cpp - from the bytes of a section to words.
#include "tools/lumetra-inspect/stamp.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

// A text that may lack its end.
template <std::size_t room>
std::string textOf(const char (&text)[room]) {
    return {text, std::find(text, text + room, '\0')};
}

}  // namespace

std::optional<LumetraModuleStamp> readStamp(const SymbolTable& table) {
    LumetraModuleStamp stamp{};
    if (table.stamp.size() < sizeof stamp) return std::nullopt;
    std::memcpy(&stamp, table.stamp.data(), sizeof stamp);
    if (textOf(stamp.owner) != textOf(ownStamp().owner)) return std::nullopt;
    stamp.standardLibrary[sizeof stamp.standardLibrary - 1] = '\0';
    stamp.version[sizeof stamp.version - 1] = '\0';
    stamp.description[sizeof stamp.description - 1] = '\0';
    return stamp;
}

LumetraModuleStamp ownStamp() {
    return lumetraModuleStamp("", "");
}

std::string interfaceMismatch(const LumetraModuleStamp& stamp) {
    if (stamp.interfaceVersion == LUMETRA_MODULE_INTERFACE) return {};
    return "it was built for version " + std::to_string(stamp.interfaceVersion) +
           " of the module interface, and this is version " + std::to_string(LUMETRA_MODULE_INTERFACE);
}

std::string frameMismatch(const LumetraModuleStamp& stamp) {
    static const char* const NUMBERS[] = {
        "the size of IChnk",           "the place of its width",     "the place of its height",
        "the place of its frameIndex", "the place of its size",      "the place of its descriptor",
        "the place of its format",     "the place of its data",      "the size of dPtr",
        "the size of std::string",     "the size of std::shared_ptr"};
    const LumetraModuleStamp own = ownStamp();
    for (std::size_t k = 0; k < std::size(NUMBERS); ++k)
        if (stamp.frameLayout[k] != own.frameLayout[k])
            return std::string(NUMBERS[k]) + " is " + std::to_string(stamp.frameLayout[k]) +
                   " bytes in its build, and " + std::to_string(own.frameLayout[k]) + " here";
    return {};
}

std::string libraryMismatch(const LumetraModuleStamp& stamp) {
    const std::string theirs = textOf(stamp.standardLibrary), own = textOf(ownStamp().standardLibrary);
    return theirs == own ? "" : "it was built with " + theirs + ", and frames come with " + own;
}
