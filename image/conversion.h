// conversion.h - what becomes of a chunk, decided once and then carried out. Runs on a pool worker.
#ifndef LUMETRA_IMAGE_CONVERSION_H
#define LUMETRA_IMAGE_CONVERSION_H

#include <cstddef>
#include <cstdint>
#include <functional>

#include "LumetraCore/IChnk.h"
#include "core/configuration.h"
#include "image/chunk_store.h"
#include "image/grey/grey_kernels.h"

namespace lumetra {

struct ConversionPlan {
    enum class Levels { None, Supplied, Derived };

    GreyRun toGrey = nullptr;    // null: no conversion
    std::size_t greyPixels = 0;  // pixels of level 0 after conversion; derived levels follow them
    bool flip = false;
    Levels levels = Levels::None;  // to convert like level 0, or to derive from it
    int unsupportedSteps = 0;      // asked for, but left out; each is reported
    LUMETRA_IMGFORMATTYPE formatAfter = LUMETRA_IMGFORMAT_NONE;

    bool operator==(const ConversionPlan&) const = default;
};

/// What the flags ask for, as far as the chunk's format allows it (docs/conversion.md). The chunk is laid out
/// as intake lays it out; its pixels are not looked at.
/// @param mipMap  whether levels are derived where none were pushed
ConversionPlan planConversion(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap);

/// Carries the plan out in place.
void convert(IChnk& chunk, const ConversionPlan& plan);

/// Plans and carries out the conversion of the frame under an id, and dumps it if the flags ask for that.
/// Dropped pixels are not converted; without a frame nothing is done.
/// @param reportStep  called for each step that is left out, before the conversion counts as over
void convertStored(ChunkStore& chunks, std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags,
                   const Configuration& configuration, const std::function<void()>& reportStep);

}  // namespace lumetra

#endif
