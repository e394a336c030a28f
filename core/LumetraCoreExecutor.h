// LumetraCoreExecutor.h - the engine: the parts that it owns, and its operations by the file that defines
// them. A frame's way: pushImageData > runEventLoop > convertQueued > convertImageData > runEventLoop >
// triggerDataNotification > each module's notifyNewData; runEventLoop drops it when it has expired.
// Threads: host threads call the operations, one thread runs the event loop, the pool's workers convert
// and notify. Every part has its lock inside. Lock order: the texture's (held while its log messages run),
// then that of m_messages, then that of m_chunks, then the pool's; all others are innermost. A poster
// releases the chunks before it posts.
#ifndef LUMETRA_CORE_LUMETRACOREEXECUTOR_H
#define LUMETRA_CORE_LUMETRACOREEXECUTOR_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "LumetraCore/IChnk.h"
#include "LumetraCore/LumetraTypes.h"
#include "core/ThreadPool.h"
#include "core/configuration.h"
#include "core/message_queue.h"
#include "image/chunk_store.h"
#include "image/frame_buffers.h"
#include "modules/callback_table.h"
#include "modules/module_table.h"

class LumetraCoreExecutor {
public:
    using MSGS = lumetra::MSGS;

    using ICfg = lumetra::ICfg;
    using dllstruct = lumetra::dllstruct;

    /// The host's texture; everything is guarded by `mutex`.
    struct ITexCfg {
        std::mutex mutex;
        std::int32_t width = 0;   // pixels
        std::int32_t height = 0;  // pixels
        bool mipMap = false;
        LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_NONE;
        std::unique_ptr<unsigned char[]> buffer;  // width x height x 4 bytes while rendering is on
    };

    // core/LumetraCoreExecutor.cpp
    LumetraCoreExecutor();
    virtual ~LumetraCoreExecutor();
    LumetraCoreExecutor(const LumetraCoreExecutor&) = delete;
    LumetraCoreExecutor& operator=(const LumetraCoreExecutor&) = delete;

    // core/commands.cpp
    int command(LUMETRA_CMDTYPE type, const char* text);
    bool configure(const char* json);
    bool invalidateConfiguration();

    // core/logging.cpp
    void passLogFromNativeLib(const char* text);

    // image/push.cpp; the second is a LUMETRA_PUSHFN, whose context is the engine
    int pushImageData(const unsigned char* data, int size, const char* descriptor, int frameIndex);
    static int pushNativeImage(void* context, const unsigned char* data, int size, const char* descriptor,
                               int frameIndex);

    // image/native_texture.cpp
    int setNativeTexturePointer(void* texture, const char* json);

    // modules/registry.cpp
    std::int32_t registerDllByName(const char* name);

    // modules/lifecycle.cpp
    int initializeDllByName(const char* name, const char* configuration);
    int initializeDllByID(std::int32_t moduleId, const char* configuration);
    int unregisterDllByID(std::int32_t moduleId);
    int unregisterDllByName(const char* name);

    // modules/callbacks.cpp
    int registerCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind, void* function, void* user);
    int unregisterCallback(std::int32_t moduleId, LUMETRA_CBTYPE kind);
    std::int32_t getSupportedCallbacks(std::int32_t moduleId, LUMETRA_CBTYPE* kinds);

    // modules/traffic.cpp
    int command(std::int32_t moduleId, LUMETRA_CMDTYPE type, const char* text);
    std::int32_t getStatus(std::int32_t moduleId);

private:
    friend struct EngineProbe;  // tests look at the tables and drive single steps

    class MessageAtExit;

    // core/LumetraCoreExecutor.cpp
    void runEventLoop();
    void runTurn();
    lumetra::Chunk handleMessage(const MSGS& message, bool fresh);
    lumetra::MessageQueue::SteadyTime tidyUp();

    // core/logging.cpp
    void logViaCallback(const std::string& text);

    // image/conversion_tasks.cpp
    void queueConversion(std::uint64_t id);
    void convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags);
    void convertQueued(std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags);

    // modules/registry.cpp
    void resolveEntryPoints(dllstruct& module);
    std::int32_t askModuleId(const dllstruct& module);
    void reportMissing(LUMETRA_FNTYPE kind, const char* severity = "Warning: ");
    /// The module's function; if it lacks one that is reported, and null returned.
    template <class Fn>
    Fn* requiredEntryPoint(const dllstruct& module, LUMETRA_FNTYPE kind, const char* severity = "Warning: ") {
        Fn* const function = lumetra::entryPoint<Fn>(module, kind);
        if (function == nullptr) reportMissing(kind, severity);
        return function;
    }

    // modules/lifecycle.cpp
    int removeModule(lumetra::ModuleTable::Entry entry);

    // modules/traffic.cpp
    void triggerDataNotification(std::uint64_t chunkId);

    lumetra::MessageQueue m_messages;
    std::atomic<bool> m_running = false;
    std::unique_ptr<std::thread> m_eventLoopThread;
    std::unique_ptr<ThreadPool> m_threadPool;
    lumetra::ChunkStore m_chunks;
    const std::shared_ptr<lumetra::FrameBuffers> m_frameBuffers = std::make_shared<lumetra::FrameBuffers>();
    lumetra::Configuration m_imgCfg;
    ITexCfg m_texCfg;
    bool m_nativeRendering = false;   // guarded by m_texCfg.mutex, as is the handle
    void* m_nativeTexture = nullptr;  // the host's, never dereferenced
    lumetra::CallbackTable m_callbacks;
    lumetra::ModuleTable m_modules;
};

/// Posts a message when its scope ends, however it ends. Without memory for the message the frame is dropped.
class LumetraCoreExecutor::MessageAtExit {
public:
    MessageAtExit(LumetraCoreExecutor& engine, MSGS message) : m_engine(engine), m_message(message) {}
    ~MessageAtExit();
    MessageAtExit(const MessageAtExit&) = delete;
    MessageAtExit& operator=(const MessageAtExit&) = delete;

private:
    LumetraCoreExecutor& m_engine;
    MSGS m_message;
};

/// The process's one engine; null while there is none. Not guarded: initialize and destroy run alone.
extern LumetraCoreExecutor* lumcore_exec;

#endif
