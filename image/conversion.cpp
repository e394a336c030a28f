// conversion.cpp - one chunk from the pusher's format to grey. Runs on a pool worker.
#include "image/conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "core/LumetraCoreExecutor.h"
#include "core/frame_timing.h"
#include "image/PGM_FUNCTIONS_internal.h"
#include "image/grey_kernels.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

namespace {

bool wants(LUMETRA_CONVERSIONMODIFIER flags, LUMETRA_CONVERSIONMODIFIER flag) {
    return (flags & flag) != 0;
}

std::size_t pixelCount(std::int32_t width, std::int32_t height) {
    return width < 1 || height < 1 ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

// Whether the buffer is larger than level 0, and so holds the levels that the pusher supplied.
bool hasSuppliedLevels(const IChnk& chunk, std::size_t bytesPerPixel) {
    return chunk.size > 0 &&
           static_cast<std::size_t>(chunk.size) > bytesPerPixel * pixelCount(chunk.width, chunk.height);
}

void convertColourLevel(std::uint8_t* level, std::int32_t width, std::int32_t height, GreyRun toGrey,
                        bool flip) {
    toGrey(level, level, pixelCount(width, height));
    if (flip) flipRows(level, width, height);
}

void convertColour(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap, GreyRun toGrey,
                   std::size_t bytesPerPixel) {
    const bool flip = wants(flags, LUMETRA_CONVERT_FLIPVERTICAL);
    unsigned char* const* lvl = chunk.data->lvl;
    convertColourLevel(lvl[0], chunk.width, chunk.height, toGrey, flip);
    if (!wants(flags, LUMETRA_CONVERT_PYRAMID)) return;

    if (hasSuppliedLevels(chunk, bytesPerPixel)) {
        std::int32_t width = chunk.width;
        std::int32_t height = chunk.height;
        for (int k = 1; k < PYRAMID_LEVELS; ++k) {
            if (lvl[k] == nullptr) continue;
            width >>= 1;
            height >>= 1;
            convertColourLevel(lvl[k], width, height, toGrey, flip);
        }
    } else if (mipMap) {
        deriveLevels(chunk, lvl[0] + pixelCount(chunk.width, chunk.height));
    }
}

// Packed luma has no flip. Where one is asked for nothing is extracted, and levels are derived from what
// is there, over level 0 itself.
void extractLuma(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap, GreyRun toGrey) {
    std::uint8_t* cursor = chunk.data->lvl[0];
    if (!wants(flags, LUMETRA_CONVERT_FLIPVERTICAL)) {
        const std::size_t pairedPixels = pixelCount(chunk.width, chunk.height) & ~std::size_t{1};
        toGrey(cursor, cursor, pairedPixels);
        cursor += pairedPixels;
    }
    if (wants(flags, LUMETRA_CONVERT_PYRAMID) && mipMap && !hasSuppliedLevels(chunk, 2))
        deriveLevels(chunk, cursor);
}

void convertGrey(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    if (wants(flags, LUMETRA_CONVERT_FLIPVERTICAL))
        flipRows(chunk.data->lvl[0], chunk.width, chunk.height);
    else if (wants(flags, LUMETRA_CONVERT_PYRAMID) && mipMap && !hasSuppliedLevels(chunk, 1))
        deriveLevels(chunk, chunk.data->lvl[0] + pixelCount(chunk.width, chunk.height));
}

}  // namespace

int unsupportedSteps(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    if (!wants(flags, LUMETRA_CONVERT_GRAY)) return 0;
    const bool flip = wants(flags, LUMETRA_CONVERT_FLIPVERTICAL);
    const bool pyramid = wants(flags, LUMETRA_CONVERT_PYRAMID);
    if (chunk.format == LUMETRA_IMGFORMAT_YUYV)
        return (flip ? 1 : 0) + (pyramid && hasSuppliedLevels(chunk, 2) ? 1 : 0);
    if (chunk.format == LUMETRA_IMGFORMAT_GRAY8)
        return flip && pyramid && (mipMap || hasSuppliedLevels(chunk, 1)) ? 1 : 0;
    return 0;
}

void markConverted(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags) {
    const bool becomesGrey = chunk.format == LUMETRA_IMGFORMAT_RGB || chunk.format == LUMETRA_IMGFORMAT_BGR ||
                             chunk.format == LUMETRA_IMGFORMAT_BGRA || chunk.format == LUMETRA_IMGFORMAT_YUYV;
    if (wants(flags, LUMETRA_CONVERT_GRAY) && becomesGrey) chunk.format = LUMETRA_IMGFORMAT_GRAY8;
}

void convertPixels(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    if (!wants(flags, LUMETRA_CONVERT_GRAY)) return;
    const GreyKernels& kernels = greyKernels();
    switch (chunk.format) {
        case LUMETRA_IMGFORMAT_RGB:
            convertColour(chunk, flags, mipMap, kernels.fromRgb, 3);
            break;
        case LUMETRA_IMGFORMAT_BGR:
            convertColour(chunk, flags, mipMap, kernels.fromBgr, 3);
            break;
        case LUMETRA_IMGFORMAT_BGRA:
            convertColour(chunk, flags, mipMap, kernels.fromBgra, 4);
            break;
        case LUMETRA_IMGFORMAT_YUYV:
            extractLuma(chunk, flags, mipMap, kernels.evenBytes);
            break;
        case LUMETRA_IMGFORMAT_GRAY8:
            convertGrey(chunk, flags, mipMap);
            break;
        default:
            break;
    }
    markConverted(chunk, flags);
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

// Runs on a worker. Pixels that nobody will see would cost the frames behind them their turn.
void LumetraCoreExecutor::convertQueued(std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags) {
    if (!wants(flags, LUMETRA_CONVERT_DEBUGDUMP)) m_chunks.conversionBegins(id, currentTimeMs());
    convertImageData(id, flags);
}

void LumetraCoreExecutor::convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags) {
    const MessageAtExit notify(*this, {lumetra::MSG_NOTIFY, id});
    lumetra::ChunkStore::Conversion conversion(m_chunks, id);
    IChnk* const chunk = conversion.chunk();
    if (chunk == nullptr) return;

    const auto cfg = m_imgCfg.snapshot();
    const int leftOut = unsupportedSteps(*chunk, flags, cfg->mipMap);
    if (conversion.hasPixels()) {
        convertPixels(*chunk, flags, cfg->mipMap);
        conversion.pixelsAreDone();
    } else {
        markConverted(*chunk, flags);
    }
    for (int i = 0; i < leftOut; ++i) logViaCallback("NOT IMPLEMENTED!");
    if (conversion.hasPixels() && wants(flags, LUMETRA_CONVERT_DEBUGDUMP))
        dumpLevels(*chunk, flags, cfg->writablepath);
}
