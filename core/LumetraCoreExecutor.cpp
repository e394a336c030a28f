// LumetraCoreExecutor.cpp - the engine's beginning and end, its message queue and its event loop.
#include "core/LumetraCoreExecutor.h"

#include <algorithm>
#include <cstdio>

#include "base/clock.h"
#include "base/process_wide.h"
#include "core/load_limits.h"
#include "image/picture_encoder.h"
#include "image/push_gate.h"
#include "platform/sleep_precision.h"

using namespace lumetra;

LumetraCoreExecutor::LumetraCoreExecutor() {
    const std::uint32_t threads = workerCount(std::thread::hardware_concurrency());
    char text[64];
    std::snprintf(text, sizeof text, "Number of threads: %d", static_cast<int>(threads));
    logViaCallback(text);

    m_threadPool = std::make_unique<ThreadPool>(threads);
    processWide<PictureEncoder>().allocate();
    m_running = true;
    try {
        m_eventLoopThread = std::make_unique<std::thread>([this] { runEventLoop(); });
    } catch (...) {
        processWide<PictureEncoder>().release();
        throw;
    }
    processWide<PushGate>().open(this);
}

LumetraCoreExecutor::~LumetraCoreExecutor() {
    m_running = false;
    m_messages.close();
    processWide<PushGate>().close(this);
    processWide<PictureEncoder>().release();
    m_eventLoopThread->join();
    m_messages.waitForPushersToLeave();
    m_messages.clear();
    m_chunks.clear();
    m_eventLoopThread.reset();
    // Queued tasks still use the tables, the queue and m_threadPool: they run before any of these goes.
    m_threadPool->finish();
    m_threadPool.reset();
}

void LumetraCoreExecutor::runEventLoop() {
    SleepPrecision precision;
    while (m_running) {
        if (m_messages.waitForTurn(tidyUp(), precision)) runTurn();
    }
}

// Frees idle buffers and pixels of expired frames. Returns when to call it again.
MessageQueue::SteadyTime LumetraCoreExecutor::tidyUp() {
    const Moment now = Moment::now();
    const bool moreMayGrowOld = m_chunks.dropOldPixels(now.wallMs());
    const auto buffersIdle = m_frameBuffers->trim(now.steady);
    if (!moreMayGrowOld) return buffersIdle;
    return std::min(buffersIdle, now.steady + LONGEST_SLEEP_WITH_FRAMES);
}

// Handles one message.
void LumetraCoreExecutor::runTurn() {
    Chunk dropped;  // freed after the lock is released: it takes time
    try {
        m_messages.takeOne([&](const MSGS& message, bool fresh) { dropped = handleMessage(message, fresh); });
    } catch (...) {
        // No memory to hand the work over: the message stays and is handled again.
    }
}

// With the queue locked. Returns a chunk that is dropped.
Chunk LumetraCoreExecutor::handleMessage(const MSGS& message, bool fresh) {
    switch (message.type) {
        case MSG_NOTIFY:
            if (!fresh) return m_chunks.take(message.id);
            m_threadPool->enqueue(&LumetraCoreExecutor::triggerDataNotification, this, message.id);
            break;
        case MSG_CONVERT:
            queueConversion(message.id);
            break;
        case MSG_RETAIN:  // handed out only once its frame has expired
            return m_chunks.take(message.id);
        default:
            break;
    }
    return nullptr;
}

LumetraCoreExecutor::MessageAtExit::~MessageAtExit() {
    try {
        m_engine.m_messages.post(m_message);
    } catch (...) {
        m_engine.m_chunks.take(m_message.id);
    }
}
