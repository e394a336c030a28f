// engine_probe.h - looks into an engine and drives it step by step.
#ifndef LUMETRA_TESTS_SUPPORT_ENGINE_PROBE_H
#define LUMETRA_TESTS_SUPPORT_ENGINE_PROBE_H

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "core/LumetraCoreExecutor.h"

struct EngineProbe {
    using Messages = std::vector<std::pair<std::int32_t, std::uint64_t>>;

    /// Ends the event loop, so that messages stay until runTurn() handles them.
    static void stopLoop(LumetraCoreExecutor& engine) {
        engine.m_running = false;
        engine.m_messages.wakeTaker();
        engine.m_eventLoopThread->join();
        *engine.m_eventLoopThread = std::thread([] {});  // for the destructor to join
    }
    static void runTurn(LumetraCoreExecutor& engine) { engine.runTurn(); }
    static void post(LumetraCoreExecutor& engine, std::int32_t type, std::uint64_t id) {
        engine.m_messages.post({type, id});
    }

    /// Returns once every task queued so far, and what it queued, has run.
    static void drainPool(LumetraCoreExecutor& engine) {
        for (int i = 0; i < 2; ++i) engine.m_threadPool = std::make_unique<ThreadPool>(2);
    }

    static bool isRunning(const LumetraCoreExecutor& engine) { return engine.m_running; }
    /// Keeps every worker busy until `opened` is ready.
    static void occupyWorkers(LumetraCoreExecutor& engine, const std::shared_future<void>& opened) {
        for (std::uint32_t i = 0; i < lumetra::workerCount(std::thread::hardware_concurrency()); ++i)
            engine.m_threadPool->enqueue([opened] { opened.wait(); });
    }

    template <class Task>
    static void enqueue(LumetraCoreExecutor& engine, Task task) {
        engine.m_threadPool->enqueue(task);
    }

    static void convert(LumetraCoreExecutor& engine, std::uint64_t id, int flags) {
        engine.convertImageData(id, static_cast<LUMETRA_CONVERSIONMODIFIER>(flags));
    }
    /// As the pool does for a conversion message.
    static void convertQueued(LumetraCoreExecutor& engine, std::uint64_t id, int flags) {
        if ((flags & LUMETRA_CONVERT_DEBUGDUMP) == 0) engine.m_chunks.expectConversion(id);
        engine.convertQueued(id, static_cast<LUMETRA_CONVERSIONMODIFIER>(flags));
    }
    static void notify(LumetraCoreExecutor& engine, std::uint64_t id) { engine.triggerDataNotification(id); }

    static Messages messages(LumetraCoreExecutor& engine) {
        Messages messages;
        for (const auto& message : engine.m_messages.copy()) messages.emplace_back(message.type, message.id);
        return messages;
    }
    static std::map<std::uint64_t, lumetra::Chunk> chunks(LumetraCoreExecutor& engine) {
        return engine.m_chunks.copy();
    }
    static void forgetFrames(LumetraCoreExecutor& engine) {
        engine.m_messages.clear();
        engine.m_chunks.clear();
    }
    static void store(LumetraCoreExecutor& engine, std::uint64_t id, lumetra::Chunk chunk) {
        engine.m_chunks.store(id, std::move(chunk));
    }
    /// A chunk that may be delivered.
    static void storeConverted(LumetraCoreExecutor& engine, std::uint64_t id, lumetra::Chunk chunk) {
        store(engine, id, std::move(chunk));
        lumetra::ChunkStore::Conversion(engine.m_chunks, id).pixelsAreDone();
    }

    static lumetra::ICfg configuration(const LumetraCoreExecutor& engine) {
        return *engine.m_imgCfg.snapshot();
    }
    static LumetraCoreExecutor::ITexCfg& texture(LumetraCoreExecutor& engine) { return engine.m_texCfg; }
    static bool isRendering(const LumetraCoreExecutor& engine) { return engine.m_nativeRendering; }
    static void* textureHandle(const LumetraCoreExecutor& engine) { return engine.m_nativeTexture; }
    static lumetra::CallbackPair callback(const LumetraCoreExecutor& engine, LUMETRA_CBTYPE kind) {
        return engine.m_callbacks.find(kind);
    }
    static std::map<std::int32_t, lumetra::dllstruct> modules(const LumetraCoreExecutor& engine) {
        return engine.m_modules.copy();
    }
};

#endif
