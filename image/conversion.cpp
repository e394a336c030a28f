// conversion.cpp - one chunk from the pusher's format to grey.
#include "image/conversion.h"

#include <algorithm>
#include <cstddef>

#include "image/grey/grey_kernels.h"
#include "image/level_dump.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

namespace lumetra {

namespace {

std::size_t pixelCount(std::int32_t width, std::int32_t height) {
    return width < 1 || height < 1 ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

// Whether the buffer is larger than level 0, and so holds the levels that the pusher supplied.
bool hasSuppliedLevels(const IChnk& chunk) {
    return chunk.size > 0 &&
           static_cast<std::uint64_t>(chunk.size) > pictureBytes(chunk.format, chunk.width, chunk.height);
}

void planLevels(ConversionPlan& plan, const PixelFormat& format, bool supplied, bool flip, bool mipMap) {
    if (supplied && format.suppliedLevels == SuppliedLevels::Converted) {
        plan.levels = ConversionPlan::Levels::Supplied;
    } else if (supplied) {
        plan.unsupportedSteps += flip || format.suppliedLevels == SuppliedLevels::NotImplemented ? 1 : 0;
    } else if (mipMap && flip && !format.derivesWhenFlipped) {
        ++plan.unsupportedSteps;
    } else if (mipMap) {
        plan.levels = ConversionPlan::Levels::Derived;
    }
}

void convertLevel(std::uint8_t* level, std::int32_t width, std::int32_t height, const ConversionPlan& plan) {
    if (plan.toGrey != nullptr) plan.toGrey(level, level, pixelCount(width, height));
    if (plan.flip) flipRows(level, width, height);
}

}  // namespace

ConversionPlan planConversion(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    ConversionPlan plan;
    plan.formatAfter = chunk.format;
    const PixelFormat& format = pixelFormat(chunk.format);
    if (!wants(flags, LUMETRA_CONVERT_GRAY) || !format.becomesGrey) return plan;

    plan.formatAfter = LUMETRA_IMGFORMAT_GRAY8;
    const bool flip = wants(flags, LUMETRA_CONVERT_FLIPVERTICAL);
    if (flip && !format.flips) {
        ++plan.unsupportedSteps;
    } else {
        const std::size_t pixels = pixelCount(chunk.width, chunk.height);
        plan.greyPixels = pixels - pixels % format.pixelsAtOnce;
        if (format.toGrey != nullptr) plan.toGrey = greyKernels().*format.toGrey;
        plan.flip = flip;
    }
    if (wants(flags, LUMETRA_CONVERT_PYRAMID))
        planLevels(plan, format, hasSuppliedLevels(chunk), flip, mipMap);
    return plan;
}

void convert(IChnk& chunk, const ConversionPlan& plan) {
    unsigned char* const* lvl = chunk.data->lvl;
    if (plan.toGrey != nullptr) plan.toGrey(lvl[0], lvl[0], plan.greyPixels);
    if (plan.flip) flipRows(lvl[0], chunk.width, chunk.height);

    if (plan.levels == ConversionPlan::Levels::Derived) deriveLevels(chunk, lvl[0] + plan.greyPixels);
    if (plan.levels == ConversionPlan::Levels::Supplied) {
        std::int32_t width = chunk.width;
        std::int32_t height = chunk.height;
        for (int k = 1; k < PYRAMID_LEVELS; ++k) {
            if (lvl[k] == nullptr) continue;
            width >>= 1;
            height >>= 1;
            convertLevel(lvl[k], width, height, plan);
        }
    }
    // A frame that shares its chunk may have been delivered by now, and modules look at the format.
    if (chunk.format != plan.formatAfter) chunk.format = plan.formatAfter;
}

void convertStored(ChunkStore& chunks, std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags,
                   const Configuration& configuration, const std::function<void()>& reportStep) {
    ChunkStore::Conversion conversion(chunks, id);
    IChnk* const chunk = conversion.chunk();
    if (chunk == nullptr) return;

    const auto cfg = configuration.snapshot();
    const ConversionPlan plan = planConversion(*chunk, flags, cfg->mipMap);
    if (conversion.hasPixels()) {
        convert(*chunk, plan);
        conversion.pixelsAreDone();
    }
    for (int i = 0; i < plan.unsupportedSteps; ++i) reportStep();
    if (conversion.hasPixels() && wants(flags, LUMETRA_CONVERT_DEBUGDUMP))
        dumpLevels(*chunk, flags, cfg->writablepath);
}

}  // namespace lumetra
