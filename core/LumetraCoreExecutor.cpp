// LumetraCoreExecutor.cpp - the engine's beginning and end, its message queue and its event loop.
#include "core/LumetraCoreExecutor.h"

#include <algorithm>
#include <cstdio>

#include "core/frame_timing.h"
#include "core/logging.h"
#include "image/module_push.h"
#include "platform/sleep_precision.h"

LumetraCoreExecutor::LumetraCoreExecutor() {
    m_callbacks = {{CB_LOG, {nullptr, nullptr}}, {CB_HOSTTEXT, {nullptr, nullptr}}};
    m_callbacks[CB_LOG].first = reinterpret_cast<void*>(&stdlog);

    const std::uint32_t threads = workerCount(std::thread::hardware_concurrency());
    char text[64];
    std::snprintf(text, sizeof text, "Number of threads: %d", static_cast<int>(threads));
    logViaCallback(text);

    m_threadPool = std::make_unique<ThreadPool>(threads);
    allocateJpegBuffer();
    m_running = true;
    try {
        m_eventLoopThread = std::make_unique<std::thread>([this] { runEventLoop(); });
    } catch (...) {
        releaseJpegBuffer();
        throw;
    }
}

LumetraCoreExecutor::~LumetraCoreExecutor() {
    releaseJpegBuffer();
    m_running = false;
    m_eventLoopThread->join();
    letPushersGo();
    {
        const std::lock_guard lock(m_msgMutex);
        m_messages.clear();
    }
    {
        const std::lock_guard lock(m_chunkMutex);
        m_chunks.clear();
    }
    m_eventLoopThread.reset();
    // What is still queued runs while every table and the pool itself are there to be used.
    m_threadPool->finish();
    m_threadPool.reset();
}

void LumetraCoreExecutor::runEventLoop() {
    using Clock = FrameBuffers::Clock;
    constexpr std::chrono::nanoseconds TURN(100'000);
    SleepPrecision precision;
    Clock::time_point next = Clock::now();
    while (m_running) {
        const bool messagesWait = runTurn();
        const Clock::time_point now = Clock::now();
        m_frameBuffers->trim(now);
        // Every message ahead of a frame's costs it a turn, so while messages wait turns keep their pace: a
        // sleep that ends late shortens the one after it. When idle only power counts.
        precision.set(messagesWait);
        next = messagesWait ? std::max(next + TURN, now) : now + TURN;
        std::this_thread::sleep_until(next);
    }
}

// Handles one message. True while messages wait.
bool LumetraCoreExecutor::runTurn() {
    std::shared_ptr<IChnk> dropped;  // let go of behind the lock: freeing pixels takes time
    const std::lock_guard lock(m_msgMutex);
    if (m_messages.empty()) return false;
    try {
        dropped = handleMessage(m_messages.front());
        m_messages.pop_front();
    } catch (...) {
        // No memory to hand the work over: the message stays and is handled again.
    }
    return !m_messages.empty();
}

// With m_msgMutex held. Returns a chunk that is to be let go.
std::shared_ptr<IChnk> LumetraCoreExecutor::handleMessage(const MSGS& message) {
    const bool fresh = isFresh(currentTimeMs(), message.id);
    switch (message.type) {
        case MSG_NOTIFY:
            if (!fresh) return takeChunk(message.id);
            m_threadPool->enqueue(&LumetraCoreExecutor::triggerDataNotification, this, message.id);
            break;
        case MSG_CONVERT: {
            m_threadPool->enqueue(&LumetraCoreExecutor::convertQueued, this, message.id,
                                  imageConfiguration().conversionflags);
            const std::lock_guard lock(m_chunkMutex);
            ++m_queuedConversions;  // it may have begun by now: the count is below 0 for that moment
            break;
        }
        case MSG_RETAIN:
            if (!fresh) return takeChunk(message.id);
            m_messages.push_back(MSGS(message));
            break;
        default:
            break;
    }
    return nullptr;
}

void LumetraCoreExecutor::postMessage(std::int32_t type, std::uint64_t id) {
    const std::lock_guard lock(m_msgMutex);
    m_messages.push_back({type, id});
}

std::shared_ptr<IChnk> LumetraCoreExecutor::takeChunk(std::uint64_t id) {
    const std::lock_guard lock(m_chunkMutex);
    const auto entry = m_chunks.find(id);
    if (entry == m_chunks.end()) return nullptr;
    auto chunk = std::move(entry->second);
    m_chunks.erase(entry);
    return chunk;
}

LumetraCoreExecutor::MessageAtExit::~MessageAtExit() {
    try {
        m_engine.postMessage(m_message.type, m_message.id);
    } catch (...) {
        m_engine.takeChunk(m_message.id);
    }
}
