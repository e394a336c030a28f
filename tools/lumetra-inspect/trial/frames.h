// frames.h - frames as modules receive them, with their pixels in pages that may only be read, between pages
// that may not be touched at all. A step beside the rules is noted, and then let pass, so that it spoils no
// other check.
#ifndef LUMETRA_INSPECT_FRAMES_H
#define LUMETRA_INSPECT_FRAMES_H

#include <LumetraCore/IChnk.h>

#include <cstdint>
#include <memory>
#include <string>

enum class Levels {
    All,  // each behind the other
    None  // level 0 alone
};

struct FrameShape {
    int width = 256, height = 192;
    std::int32_t format = LUMETRA_IMGFORMAT_GRAY8;
    Levels levels = Levels::All;
    std::string descriptor = R"({"source":"inspect","frame":1})";
};

/// A new frame each time; any thread. Formats without pixels have null levels. Its pages are given back with
/// the last owner of its `data`.
/// @throws std::bad_alloc
std::shared_ptr<IChnk> makeFrame(const FrameShape& shape = {});

/// Ids as the engine gives them, each greater than the one before; any thread.
std::uint64_t nextFrameId();

/// What a module did to the pixels of a frame that it must not; empty if nothing.
struct PixelFaults {
    std::string written;  // "byte 0 of a 256x192 frame of format 7"
    std::string outside;
};
PixelFaults pixelFaults();

#endif
