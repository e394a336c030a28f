/// @file
/// ModuleStamp.h - what lumetra_add_module() writes into every module: how it was built and what it is
/// called, readable without running it (lumetra-inspect does). Authors need not include this.
///
/// The stamp is an ELF note, which neither stripping nor the removal of unused sections takes away. Other
/// systems' modules have none.
#ifndef LUMETRACORE_MODULESTAMP_H
#define LUMETRACORE_MODULESTAMP_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <LumetraCore/IChnk.h>

/// Changes with the meaning or the form of a module's entry points, not with additions to them.
#define LUMETRA_MODULE_INTERFACE 1

/// The section that holds it.
#define LUMETRA_STAMP_SECTION ".note.lumetracore"

/// Its argument as it stands, as a text.
#define LUMETRA_STAMP_TEXT_OF(number) #number
/// A macro's value as a text.
#define LUMETRA_STAMP_TEXT(number) LUMETRA_STAMP_TEXT_OF(number)

/// The standard library by what decides whether its objects fit another's.
#if defined(_LIBCPP_ABI_VERSION)
#define LUMETRA_STANDARD_LIBRARY "libc++, ABI " LUMETRA_STAMP_TEXT(_LIBCPP_ABI_VERSION)
#elif defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI
#define LUMETRA_STANDARD_LIBRARY "libstdc++, C++11 strings"
#elif defined(__GLIBCXX__)
#define LUMETRA_STANDARD_LIBRARY "libstdc++, old strings"
#else
#define LUMETRA_STANDARD_LIBRARY "unknown"
#endif

/// An ELF note: three numbers and its owner, then the stamp itself. Texts end with a 0 byte.
struct LumetraModuleStamp {
    std::uint32_t ownerSize;         ///< bytes of `owner`
    std::uint32_t bodySize;          ///< bytes from `interfaceVersion` on
    std::uint32_t type;              ///< 1, of the notes of this owner
    char owner[12];                  ///< "LumetraCore"
    std::uint32_t interfaceVersion;  ///< LUMETRA_MODULE_INTERFACE of the build
    std::uint16_t frameLayout[12];   ///< bytes: IChnk, before its members, dPtr, text, pointer
    char standardLibrary[32];        ///< LUMETRA_STANDARD_LIBRARY of the build
    char version[24];                ///< the module's own, of its CMake project
    char description[160];           ///< what the module says of itself: that project's DESCRIPTION
};

/// A constant of this build; a text that is too long is cut off.
constexpr LumetraModuleStamp lumetraModuleStamp(const char* version, const char* description) {
    LumetraModuleStamp stamp{};
    const auto put = [](char* to, const char* from, std::size_t room) {
        for (std::size_t k = 0; k + 1 < room && from[k] != 0; ++k) to[k] = from[k];
    };
    stamp.ownerSize = sizeof stamp.owner;
    stamp.bodySize = sizeof stamp - offsetof(LumetraModuleStamp, interfaceVersion);
    stamp.type = 1;
    put(stamp.owner, "LumetraCore", sizeof stamp.owner);
    stamp.interfaceVersion = LUMETRA_MODULE_INTERFACE;
    const std::size_t layout[] = {sizeof(IChnk),
                                  offsetof(IChnk, width),
                                  offsetof(IChnk, height),
                                  offsetof(IChnk, frameIndex),
                                  offsetof(IChnk, size),
                                  offsetof(IChnk, descriptor),
                                  offsetof(IChnk, format),
                                  offsetof(IChnk, data),
                                  sizeof(IChnk::dPtr),
                                  sizeof(std::string),
                                  sizeof(std::shared_ptr<IChnk>)};
    std::size_t count = 0;
    for (const std::size_t bytes : layout) stamp.frameLayout[count++] = static_cast<std::uint16_t>(bytes);
    put(stamp.standardLibrary, LUMETRA_STANDARD_LIBRARY, sizeof stamp.standardLibrary);
    put(stamp.version, version, sizeof stamp.version);
    put(stamp.description, description, sizeof stamp.description);
    return stamp;
}

/// Defines the stamp of a module; for a source file of its own. Without its alignment g++ would choose a
/// larger one, which no reader of notes expects.
#if defined(__ELF__)
#define LUMETRA_STAMP_MODULE(version, description)                                                         \
    namespace {                                                                                            \
    __attribute__((section(LUMETRA_STAMP_SECTION), used, aligned(4))) constexpr LumetraModuleStamp stamp = \
        lumetraModuleStamp(version, description);                                                          \
    }
#else
#define LUMETRA_STAMP_MODULE(version, description)
#endif

#endif
