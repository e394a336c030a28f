// expected_pixels.h - what modules must find in a frame, worked out from the pushed bytes by the rule alone:
// plain loops that share nothing with the library, so that the two can be compared. Any thread; no state.
#ifndef LUMETRA_PLAY_EXPECTED_PIXELS_H
#define LUMETRA_PLAY_EXPECTED_PIXELS_H

#include <array>
#include <cstdint>
#include <optional>

#include "tools/lumetra-play/pixels/picture.h"

/// One level each, nothing where modules find none.
using ExpectedLevels = std::array<std::optional<Bytes>, LEVEL_COUNT>;
using LevelDigests = std::array<std::optional<std::uint64_t>, LEVEL_COUNT>;

/// @param pushed   level 0 and, with `pyramid`, the seven levels behind it
/// @param flags    LUMETRA_CONVERSIONMODIFIER; of a colour picture, LUMETRA_CONVERT_GRAY among them
/// @param pyramid  whether the frame is pushed with its levels ("mipMap")
ExpectedLevels expectedLevels(const Picture& picture, const Bytes& pushed, std::int32_t flags, bool pyramid);

LevelDigests digestsOf(const ExpectedLevels& levels);

#endif
