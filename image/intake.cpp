// intake.cpp - pixels copied, chunk filed, message posted.
#include "image/intake.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/clock.h"
#include "core/ThreadPool.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

namespace lumetra {

Chunk pushedChunk(const PushedFrame& frame, const ICfg& cfg, FrameBuffers& buffers) {
    auto chunk =
        std::make_shared<IChnk>(cfg.width, cfg.height, cfg.format, frame.frameIndex, frame.descriptor);
    buffers.allocatePixels(*chunk, bufferBytes(cfg.format, cfg.width, cfg.height, frame.size, cfg.mipMap));
    const std::int32_t copied = std::min(chunk->size, frame.size);
    if (copied > 0) std::memcpy(chunk->data->lvl[0], frame.data, static_cast<std::size_t>(copied));
    if (cfg.mipMap) layOutLevels(*chunk);
    return chunk;
}

bool takeIn(const PushedFrame& frame, const ICfg& cfg, const IntakeParts& parts) {
    if (!cfg.valid || (frame.data == nullptr && frame.size > 0)) return false;

    std::uint64_t id = 0;
    Chunk chunk;
    try {
        chunk = pushedChunk(frame, cfg, parts.buffers);
        id = currentTimeMs();
        parts.chunks.store(id, chunk);  // replaces a frame of the same millisecond
        parts.messages.post({MSG_CONVERT, id});
    } catch (...) {
        parts.chunks.takeIf(id, chunk.get());  // without a message nobody would take it out
        parts.messages.wakeTaker();            // the loop frees idle buffers, but may be asleep
        throw;
    }
    chunk.reset();  // a pusher that waits must not keep the pixels
    // A worker never waits: it would delay the conversions and notifications queued behind it.
    if (!ThreadPool::isWorker()) parts.messages.waitForRoom();
    return true;
}

}  // namespace lumetra
