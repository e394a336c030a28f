// pixel_formats.h - the table of pixel formats, and the bytes that pictures take. Any thread; no state.
#ifndef LUMETRA_IMAGE_PIXEL_FORMATS_H
#define LUMETRA_IMAGE_PIXEL_FORMATS_H

#include <cstdint>

#include "LumetraCore/LumetraTypes.h"
#include "image/grey/grey_kernels.h"

namespace lumetra {

inline constexpr int PYRAMID_LEVELS = 8;

/// The highest number that is a format.
inline constexpr LUMETRA_IMGFORMATTYPE LAST_FORMAT = LUMETRA_IMGFORMAT_GRAY8;

/// What conversion to grey does with supplied levels.
enum class SuppliedLevels { NotImplemented, Converted, KeptUnlessFlipped };

/// The image files that a debug dump makes of frames.
enum class DumpAs { Nothing, Pgm, Ppm };

struct PixelFormat {
    std::uint64_t bitsPerPixel = 0;  // 0: no pixels are kept
    DumpAs dumpAs = DumpAs::Nothing;
    bool roomForLevels = false;  // behind the pixels, in every buffer: levels may be derived there
    bool hasPicture = false;     // for the text exchange, which encodes packed luma
    bool becomesGrey = false;    // if not, conversion leaves its frames alone, and nothing below matters

    GreyRun GreyKernels::*toGrey = nullptr;  // null: already grey
    std::uint32_t pixelsAtOnce = 1;          // pixels per unit; an incomplete last unit is dropped
    bool flips = false;                      // if not, a frame that should be flipped is not converted at all
    bool derivesWhenFlipped = false;         // levels are derived even where a flip is asked for
    SuppliedLevels suppliedLevels = SuppliedLevels::NotImplemented;
};

/// The format's row; the row of NONE for an unknown number.
const PixelFormat& pixelFormat(LUMETRA_IMGFORMATTYPE format);

/// Bytes of a width x height picture, never wrapped; 0 for formats without pixels. A 4:2:0 picture with an
/// odd number of half bytes has no room for the last one.
std::uint64_t pictureBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height);

/// Bytes of the buffer that has room for all levels of a picture with `levelZeroBytes`: 1.34 times as many
/// in single precision, a margin over the 4/3 that an endless pyramid takes.
/// @throws std::bad_alloc if they do not fit 31 bits
std::int32_t pyramidBytes(std::uint64_t levelZeroBytes);

/// Value of IChnk::size for a frame.
/// @param pushedBytes  what the pusher handed over; only a frame of exactly level 0 gets no extra room
/// @throws std::bad_alloc if room for all levels would not fit 31 bits, wanted or not
std::int32_t bufferBytes(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height,
                         std::int32_t pushedBytes, bool mipMap);

}  // namespace lumetra

#endif
