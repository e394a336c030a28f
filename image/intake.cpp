// intake.cpp - one pushed frame becomes a chunk and a message. Runs on the pusher's thread.
// The geometry is the configuration's; the pushed byte count only says how much there is to copy.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "core/LumetraCoreExecutor.h"
#include "core/frame_timing.h"
#include "image/frame_buffers.h"
#include "image/pixel_formats.h"

int LumetraCoreExecutor::pushImageData(const unsigned char* data, int size, const char* descriptor,
                                       int frameIndex) {
    const ICfg cfg = imageConfiguration();
    if (!cfg.valid) return 0;

    const auto chunk = std::make_shared<IChnk>(cfg.width, cfg.height, cfg.format, frameIndex, descriptor);
    m_frameBuffers->allocatePixels(*chunk, bufferBytes(cfg.format, cfg.width, cfg.height, size, cfg.mipMap));
    const std::int32_t copied = std::min(chunk->size, size);
    if (copied > 0) std::memcpy(chunk->data->lvl[0], data, static_cast<std::size_t>(copied));
    if (cfg.mipMap) layOutLevels(*chunk);

    const std::uint64_t id = currentTimeMs();
    std::shared_ptr<IChnk> replaced = chunk;  // a frame of the same millisecond gives way to this one
    {
        const std::lock_guard lock(m_chunkMutex);
        m_chunks[id].swap(replaced);
    }
    try {
        postMessage(MSG_CONVERT, id);
    } catch (...) {
        takeChunk(id);  // without its message nothing would ever come for it
        throw;
    }
    letEventLoopCatchUp();
    return 1;
}

// Every frame of the last 100 ms has a message in the queue, and the loop handles one each 0.1 ms: with many
// more than that no frame would reach a module in time. A pusher that is so far ahead waits for a while; a
// worker does not, since what would bring the queue down stands behind it.
void LumetraCoreExecutor::letEventLoopCatchUp() {
    constexpr std::size_t FAR_AHEAD = 256;  // messages: frames that come at 2.5 in a millisecond
    constexpr int MAX_WAIT = 100;           // ms
    if (ThreadPool::isWorker()) return;
    std::unique_lock lock(m_msgMutex);
    ++m_waitingPushers;
    for (int i = 0; i < MAX_WAIT && m_running && m_messages.size() > FAR_AHEAD; ++i) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.lock();
    }
    --m_waitingPushers;
}

// Once the engine no longer runs. They look every millisecond.
void LumetraCoreExecutor::letPushersGo() {
    for (std::unique_lock lock(m_msgMutex); m_waitingPushers > 0; lock.lock()) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
