// conversion.cpp - one chunk from the pusher's format to grey. Runs on a pool worker.
#include "image/conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "core/LumetraCoreExecutor.h"
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

int convertColour(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap, GreyRun toGrey,
                  std::size_t bytesPerPixel) {
    const bool flip = wants(flags, LUMETRA_CONVERT_FLIPVERTICAL);
    unsigned char* const* lvl = chunk.data->lvl;
    convertColourLevel(lvl[0], chunk.width, chunk.height, toGrey, flip);
    if (!wants(flags, LUMETRA_CONVERT_PYRAMID)) return 0;

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
    return 0;
}

// Packed luma has no flip. Where one is asked for nothing is extracted, and levels are derived from what
// is there, over level 0 itself.
int extractLuma(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap, GreyRun toGrey) {
    int leftOut = 0;
    std::uint8_t* cursor = chunk.data->lvl[0];
    if (wants(flags, LUMETRA_CONVERT_FLIPVERTICAL)) {
        ++leftOut;
    } else {
        const std::size_t pairedPixels = pixelCount(chunk.width, chunk.height) & ~std::size_t{1};
        toGrey(cursor, cursor, pairedPixels);
        cursor += pairedPixels;
    }
    if (!wants(flags, LUMETRA_CONVERT_PYRAMID)) return leftOut;

    if (hasSuppliedLevels(chunk, 2)) {
        ++leftOut;
    } else if (mipMap) {
        deriveLevels(chunk, cursor);
    }
    return leftOut;
}

int convertGrey(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    const bool pyramid = wants(flags, LUMETRA_CONVERT_PYRAMID);
    const bool supplied = hasSuppliedLevels(chunk, 1);
    if (wants(flags, LUMETRA_CONVERT_FLIPVERTICAL)) {
        flipRows(chunk.data->lvl[0], chunk.width, chunk.height);
        return pyramid && (supplied || mipMap) ? 1 : 0;
    }
    if (pyramid && !supplied && mipMap)
        deriveLevels(chunk, chunk.data->lvl[0] + pixelCount(chunk.width, chunk.height));
    return 0;
}

}  // namespace

int convertPixels(IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, bool mipMap) {
    if (!wants(flags, LUMETRA_CONVERT_GRAY)) return 0;
    const GreyKernels& kernels = greyKernels();
    int leftOut = 0;
    switch (chunk.format) {
        case LUMETRA_IMGFORMAT_RGB:
            leftOut = convertColour(chunk, flags, mipMap, kernels.fromRgb, 3);
            break;
        case LUMETRA_IMGFORMAT_BGR:
            leftOut = convertColour(chunk, flags, mipMap, kernels.fromBgr, 3);
            break;
        case LUMETRA_IMGFORMAT_BGRA:
            leftOut = convertColour(chunk, flags, mipMap, kernels.fromBgra, 4);
            break;
        case LUMETRA_IMGFORMAT_YUYV:
            leftOut = extractLuma(chunk, flags, mipMap, kernels.evenBytes);
            break;
        case LUMETRA_IMGFORMAT_GRAY8:
            return convertGrey(chunk, flags, mipMap);
        default:
            return 0;
    }
    chunk.format = LUMETRA_IMGFORMAT_GRAY8;
    return leftOut;
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

// Keeps conversions of one chunk apart: two frames of the same millisecond share a chunk, but each has a
// conversion of its own.
class LumetraCoreExecutor::ConversionTurn {
public:
    ConversionTurn(LumetraCoreExecutor& engine, const IChnk* chunk) : m_engine(engine), m_chunk(chunk) {
        std::unique_lock lock(m_engine.m_chunkMutex);
        auto& converting = m_engine.m_converting;
        m_engine.m_conversionDone.wait(
            lock, [&] { return std::ranges::find(converting, chunk) == converting.end(); });
        converting.push_back(chunk);
    }
    ~ConversionTurn() {
        {
            const std::lock_guard lock(m_engine.m_chunkMutex);
            std::erase(m_engine.m_converting, m_chunk);
        }
        m_engine.m_conversionDone.notify_all();
    }
    ConversionTurn(const ConversionTurn&) = delete;
    ConversionTurn& operator=(const ConversionTurn&) = delete;

private:
    LumetraCoreExecutor& m_engine;
    const IChnk* m_chunk;
};

void LumetraCoreExecutor::convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags) {
    const MessageAtExit notify(*this, {MSG_NOTIFY, id});
    std::shared_ptr<IChnk> chunk;
    {
        const std::lock_guard lock(m_chunkMutex);
        chunk = m_chunks[id];
    }
    if (chunk == nullptr) return;

    const ConversionTurn turn(*this, chunk.get());
    const ICfg cfg = imageConfiguration();
    const int leftOut = convertPixels(*chunk, flags, cfg.mipMap);
    for (int i = 0; i < leftOut; ++i) logViaCallback("NOT IMPLEMENTED!");
    if (wants(flags, LUMETRA_CONVERT_DEBUGDUMP)) dumpLevels(*chunk, flags, cfg.writablepath);
}
