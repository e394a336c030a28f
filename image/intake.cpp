// intake.cpp - one pushed frame becomes a chunk and a message. Runs on the pusher's thread.
// The geometry is the configuration's; the pushed byte count only says how much there is to copy.
#include <algorithm>
#include <cstring>
#include <utility>

#include "base/clock.h"
#include "core/LumetraCoreExecutor.h"
#include "image/frame_buffers.h"
#include "image/pixel_formats.h"

using namespace lumetra;

Chunk LumetraCoreExecutor::pushedChunk(const ICfg& cfg, const unsigned char* data, int size,
                                       const char* descriptor, int frameIndex) {
    auto chunk = std::make_shared<IChnk>(cfg.width, cfg.height, cfg.format, frameIndex, descriptor);
    m_frameBuffers->allocatePixels(*chunk, bufferBytes(cfg.format, cfg.width, cfg.height, size, cfg.mipMap));
    const std::int32_t copied = std::min(chunk->size, size);
    if (copied > 0) std::memcpy(chunk->data->lvl[0], data, static_cast<std::size_t>(copied));
    if (cfg.mipMap) layOutLevels(*chunk);
    return chunk;
}

int LumetraCoreExecutor::pushImageData(const unsigned char* data, int size, const char* descriptor,
                                       int frameIndex) {
    const auto cfg = m_imgCfg.snapshot();
    if (!cfg->valid || (data == nullptr && size > 0)) return 0;

    std::uint64_t id = 0;
    const IChnk* filed = nullptr;
    try {
        auto chunk = pushedChunk(*cfg, data, size, descriptor, frameIndex);
        filed = chunk.get();
        id = currentTimeMs();
        m_chunks.store(id, std::move(chunk));  // a frame of the same millisecond gives way to this one
        m_messages.post({MSG_CONVERT, id});
    } catch (...) {
        m_chunks.takeIf(id, filed);  // without its message nothing would ever come for it
        m_messages.wakeTaker();      // nor for its buffer
        throw;
    }
    // A worker does not wait, since what would make room stands behind it.
    if (!ThreadPool::isWorker()) m_messages.waitForRoom();
    return 1;
}
