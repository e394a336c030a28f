// conversion.cpp - one chunk from the pusher's format to grey. Runs on a pool worker.
#include "image/conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "base/clock.h"
#include "core/LumetraCoreExecutor.h"
#include "image/PGM_FUNCTIONS_internal.h"
#include "image/grey/grey_kernels.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

namespace lumetra {

namespace {

bool wants(LUMETRA_CONVERSIONMODIFIER flags, LUMETRA_CONVERSIONMODIFIER flag) {
    return (flags & flag) != 0;
}

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
    chunk.format = plan.formatAfter;
}

std::string dumpName(const std::string& path, std::int32_t frameIndex, int level, const char* extension) {
    const std::string name = std::string(path.c_str()) + "/dbg_" + std::to_string(frameIndex) + "_lvl_" +
                             std::to_string(level) + "." + extension;
    return name.substr(0, 127);
}

void dumpLevels(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, const std::string& writablePath) {
    const bool grey = chunk.format == LUMETRA_IMGFORMAT_GRAY8;
    if (!grey && chunk.format != LUMETRA_IMGFORMAT_RGB) return;

    const auto write = grey ? write_pgm : write_ppm;
    std::int32_t width = chunk.width;
    std::int32_t height = chunk.height;
    const int levels = wants(flags, LUMETRA_CONVERT_PYRAMID) ? PYRAMID_LEVELS : 1;
    for (int k = 0; k < levels; ++k) {
        if (k > 0 && chunk.data->lvl[k] == nullptr) continue;
        if (k > 0) {
            width >>= 1;
            height >>= 1;
        }
        const std::string name = dumpName(writablePath, chunk.frameIndex, k, grey ? "pgm" : "ppm");
        write(name.c_str(), "debug", chunk.data->lvl[k], width, height);
    }
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

using namespace lumetra;

// Runs on a worker. Pixels that nobody will see would cost the frames behind them their turn.
void LumetraCoreExecutor::convertQueued(std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags) {
    if ((flags & LUMETRA_CONVERT_DEBUGDUMP) == 0) m_chunks.conversionBegins(id, currentTimeMs());
    convertImageData(id, flags);
}

void LumetraCoreExecutor::convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags) {
    const MessageAtExit notify(*this, {MSG_NOTIFY, id});
    convertStored(m_chunks, id, flags, m_imgCfg, [this] { logViaCallback("NOT IMPLEMENTED!"); });
}
