// LumetraCoreExecutor.h - the engine: chunks, message queue, event loop, callbacks, modules.
// A frame's road: pushImageData > runEventLoop > convertQueued > convertImageData > runEventLoop >
// triggerDataNotification > each module's notifyNewData; runEventLoop drops it when it is old.
// Threads: host threads call the operations, one thread runs the event loop, the pool's workers convert
// and notify. Lock order: that of m_messages, then that of m_chunks, then the pool's own. A poster lets go of
// the chunks before it posts. The locks of configuration, callbacks and modules are held to copy or assign
// only, never while another lock is taken or foreign code runs.
#ifndef LUMETRA_CORE_LUMETRACOREEXECUTOR_H
#define LUMETRA_CORE_LUMETRACOREEXECUTOR_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "LumetraCore/IChnk.h"
#include "LumetraCore/LumetraTypes.h"
#include "core/ThreadPool.h"
#include "core/message_queue.h"
#include "image/chunk_store.h"
#include "image/frame_buffers.h"
#include "modules/entry_points.h"
#include "modules/registry.h"

class LumetraCoreExecutor {
public:
    using MSGS = lumetra::MSGS;

    /// How frames arrive and what becomes of them.
    struct ICfg {
        bool valid = false;
        std::int32_t width = 0;   // pixels
        std::int32_t height = 0;  // pixels
        bool mipMap = false;
        bool forwardNativeImage = false;
        LUMETRA_CONVERSIONMODIFIER conversionflags = LUMETRA_CONVERSIONMODIFIER(
            LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID | LUMETRA_CONVERT_FLIPVERTICAL);
        std::string writablepath = ".";
        LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_NONE;
    };

    /// The host's texture; everything is guarded by `mutex`.
    struct ITexCfg {
        std::mutex mutex;
        std::int32_t width = 0;   // pixels
        std::int32_t height = 0;  // pixels
        bool mipMap = false;
        LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_NONE;
        std::unique_ptr<unsigned char[]> buffer;  // width x height x 4 bytes while rendering is on
    };

    /// One loaded module; `functions` holds all nine kinds, null where the module lacks one.
    struct dllstruct {
        dllstruct();

        std::string name;        // the path that was opened
        void* handle = nullptr;  // of the dynamic loader
        std::map<LUMETRA_FNTYPE, void*> functions;
        std::shared_ptr<ModuleLibrary> library;  // closes `handle`; null while the library is being closed
    };

    using CallbackPair = std::pair<void*, void*>;  // function, user pointer

    // core/LumetraCoreExecutor.cpp
    LumetraCoreExecutor();
    virtual ~LumetraCoreExecutor();
    LumetraCoreExecutor(const LumetraCoreExecutor&) = delete;
    LumetraCoreExecutor& operator=(const LumetraCoreExecutor&) = delete;

    // core/configuration.cpp
    int command(LUMETRA_CMDTYPE type, const char* text);
    bool configure(const char* json);
    bool invalidateConfiguration();

    // core/logging.cpp
    void passLogFromNativeLib(const char* text);

    // image/intake.cpp
    int pushImageData(const unsigned char* data, int size, const char* descriptor, int frameIndex);

    // image/module_push.cpp: a LUMETRA_PUSHFN, whose context is the engine
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
    void queueConversion(std::uint64_t id);
    lumetra::MessageQueue::SteadyTime tidyUp();

    // core/configuration.cpp
    ICfg imageConfiguration() const;

    // core/logging.cpp
    void logViaCallback(const std::string& text);

    // image/conversion.cpp
    void convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags);
    void convertQueued(std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags);

    // modules/registry.cpp
    void resolveEntryPoints(dllstruct& module);
    std::int32_t askModuleId(const dllstruct& module);
    std::optional<dllstruct> findModule(std::int32_t moduleId) const;
    void reportMissing(LUMETRA_FNTYPE kind, const char* severity = "Warning: ");

    // modules/lifecycle.cpp
    using ModuleEntry = std::pair<std::int32_t, dllstruct>;  // id, record
    std::optional<ModuleEntry> findModuleByPath(const std::string& path) const;
    int removeModule(ModuleEntry module);

    // modules/callbacks.cpp
    CallbackPair callbackFor(LUMETRA_CBTYPE kind);
    bool replaceCallback(LUMETRA_CBTYPE kind, CallbackPair pair);

    // modules/traffic.cpp
    struct NotificationTarget {
        NotifyNewDataFn* notify;  // null if the module lacks it
        std::weak_ptr<ModuleLibrary> library;
    };
    void triggerDataNotification(std::uint64_t chunkId);
    std::vector<NotificationTarget> notificationTargets() const;
    static void notifyModule(const NotificationTarget& target, std::uint64_t chunkId,
                             const std::shared_ptr<IChnk>& chunk);

    lumetra::MessageQueue m_messages;
    std::atomic<bool> m_running = false;
    std::unique_ptr<std::thread> m_eventLoopThread;
    std::unique_ptr<ThreadPool> m_threadPool;
    lumetra::ChunkStore m_chunks;
    const std::shared_ptr<FrameBuffers> m_frameBuffers = std::make_shared<FrameBuffers>();
    mutable std::mutex m_cfgMutex;  // guards m_imgCfg
    ICfg m_imgCfg;
    ITexCfg m_texCfg;
    bool m_nativeRendering = false;      // guarded by m_texCfg.mutex, as is the handle
    void* m_nativeTexture = nullptr;     // the host's, never dereferenced
    mutable std::mutex m_callbackMutex;  // guards m_callbacks
    std::map<LUMETRA_CBTYPE, CallbackPair> m_callbacks;
    mutable std::mutex m_moduleMutex;                                 // guards m_modules
    std::map<std::int32_t, dllstruct> m_modules;                      // by the id that each module reports
    std::vector<std::shared_ptr<ModuleLibrary>> m_replacedLibraries;  // guarded by m_moduleMutex too
};

/// Posts a message when its scope ends, however it ends. A frame whose message finds no memory is dropped.
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
