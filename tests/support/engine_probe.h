// engine_probe.h - the parts inside an engine, for what only a whole engine shows. A part alone is tested
// alone.
#ifndef LUMETRA_TESTS_SUPPORT_ENGINE_PROBE_H
#define LUMETRA_TESTS_SUPPORT_ENGINE_PROBE_H

#include "core/LumetraCoreExecutor.h"

struct EngineProbe {
    struct Texture {
        const LumetraCoreExecutor::ITexCfg& record;
        bool isRendering;
        void* handle;
    };

    static lumetra::MessageQueue& messages(LumetraCoreExecutor& engine) { return engine.m_messages; }
    static lumetra::ChunkStore& chunks(LumetraCoreExecutor& engine) { return engine.m_chunks; }
    static ThreadPool& pool(LumetraCoreExecutor& engine) { return *engine.m_threadPool; }
    static void notify(LumetraCoreExecutor& engine, std::uint64_t id) { engine.triggerDataNotification(id); }
    static lumetra::ICfg configuration(const LumetraCoreExecutor& engine) {
        return *engine.m_imgCfg.snapshot();
    }
    static Texture texture(const LumetraCoreExecutor& engine) {
        return {engine.m_texCfg, engine.m_nativeRendering, engine.m_nativeTexture};
    }
};

#endif
