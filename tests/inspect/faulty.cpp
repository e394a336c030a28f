// faulty.cpp - a module with the fault that its file is named after, "CHECK" or "CHECK+VARIANT": sound but
// for what that check looks for. Under any other name it is sound. One library serves all faults, through
// links to it.
#include <LumetraCore/LumetraModule.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr int OWN_FRAME = 4711;

struct OwnError {};

const std::string& ownPath() {
    static const std::string path = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(&getModuleID), &info);
        return std::string(info.dli_fname);
    }();
    return path;
}

bool is(std::string_view fault) {
    return std::string_view(ownPath()).substr(ownPath().rfind('/') + 1) == fault;
}

void crashIf(bool wrong) {
    if (wrong) std::abort();
}

struct State {
    std::mutex mutex;
    LUMETRA_LOGFN log = nullptr;
    LUMETRA_PUSHFN push = nullptr;
    void* engine = nullptr;
    bool nullLog = false;
    std::vector<std::shared_ptr<IChnk>> kept;
    std::atomic<bool> initialized{false}, destroyed{false};
    std::atomic<int> inFrame{0};
    std::atomic<std::uint64_t> lastId{0};
    void* volatile block = nullptr;

    State() { crashIf(is("opens")); }
    ~State() { crashIf(is("engine-gone") && initialized && !destroyed); }
};
State state;

struct FrameCount {
    FrameCount() { ++state.inFrame; }
    ~FrameCount() { --state.inFrame; }
};

bool isInEngine(void* returnAddress) {
    Dl_info info{};
    dladdr(returnAddress, &info);
    return std::string_view(info.dli_fname).find("LumetraCore.so") != std::string_view::npos;
}

// A block of memory that nobody looks for.
void useMemoryUnchecked() {
    state.block = new (std::nothrow) char[5000];
    *static_cast<volatile char*>(state.block) = 1;
    delete[] static_cast<char*>(state.block);
}

__attribute__((noinline)) void useMuchStack() {
    volatile char much[700 * 1024];
    for (std::size_t k = sizeof much; k > 0; k -= 1024) much[k - 1] = 1;  // the fence comes first
}

void log() {
    std::unique_lock lock(state.mutex);
    const LUMETRA_LOGFN function = state.log;
    if (!is("log-question")) lock.unlock();
    const char16_t half[] = {0xD800, u'a', 0};
    if (function != nullptr) function(0, is("log-text") ? half : u"a frame");
}

int callPush(LUMETRA_PUSHFN push, void* engine) {
    static const unsigned char pixels[64] = {};
    return push(engine, pixels, sizeof pixels, "{\"faulty\":1}", OWN_FRAME);
}

int callPushUncaught(LUMETRA_PUSHFN push, void* engine) noexcept {
    return callPush(push, engine);
}

void push(const IChnk& frame) {
    crashIf(is("push-engine") && frame.frameIndex == OWN_FRAME);
    LUMETRA_PUSHFN function = nullptr;
    void* engine = nullptr;
    {
        const std::lock_guard lock(state.mutex);
        function = state.push;
        engine = is("push-arguments+context") ? nullptr : state.engine;
    }
    if (function == nullptr || frame.frameIndex == OWN_FRAME) return;
    if (is("push-arguments")) function(engine, nullptr, 5, "", 1);
    const int taken = is("push-throws") ? callPushUncaught(function, engine) : callPush(function, engine);
    crashIf(is("push-refused") && taken == 0);
}

void lookAtShape(const IChnk& frame) {
    unsigned char* const* const level = frame.data->lvl;
    const bool grey = frame.format == LUMETRA_IMGFORMAT_GRAY8;
    crashIf(is("frame-formats") && frame.format == LUMETRA_IMGFORMAT_YUYV);
    crashIf(is("frame-odd") && frame.width == 641);
    crashIf(is("frame-huge") && frame.width >= 4096);
    crashIf(is("frame-small") && frame.width == 1);
    crashIf(is("frame-no-levels") && level[0] != nullptr && level[1] == nullptr);
    crashIf(is("frame-no-pixels") && level[0] == nullptr);
    crashIf(is("frame-descriptors") && frame.descriptor.size() > 1000);
    // Its size counts the bytes before the conversion to grey.
    crashIf(is("engine-frames") && grey && frame.size > 2 * frame.width * frame.height);
}

void useShared(const std::shared_ptr<IChnk>& frame) {
    static bool first = true;
    unsigned char* const pixels = frame->data->lvl[0];
    const bool alone = frame->format == LUMETRA_IMGFORMAT_GRAY8 && frame->data->lvl[1] == nullptr;
    if (is("pixels-unwritten") && pixels != nullptr) pixels[0] = 1;
    if (is("pixels-inside") && pixels != nullptr && alone) {
        const volatile unsigned char* const beside = pixels + frame->width * frame->height;
        static_cast<void>(*beside);
    }
    if (is("frame-record")) frame->descriptor = "mine";
    if (is("frame-record+levels")) frame->data->lvl[1] = nullptr;
    if (is("frames-released") && first) new std::shared_ptr<IChnk>(frame);
    first = false;
    if (!is("frames-bounded")) return;
    const std::lock_guard lock(state.mutex);
    state.kept.push_back(frame);
}

void lookAtId(std::uint64_t id) {
    const std::uint64_t last = state.lastId.exchange(id);
    crashIf(is("frame-ids") && id == 0);
    crashIf(is("frame-repeated") && id == last);
    crashIf(is("frame-order") && id < last && last - id < 1000);
}

void leaveThingsBehind() {
    if (is("threads")) std::thread([] { pause(); }).detach();
    if (is("processes") && fork() == 0)
        for (;;) pause();
    if (is("settings")) std::signal(SIGUSR1, SIG_IGN);
    if (is("settings+folder") && chdir("/") != 0) std::abort();
    if (is("reload+descriptors") && open("/dev/null", O_RDONLY | O_CLOEXEC) < 0) std::abort();
    if (is("reload+mapped")) dlopen(ownPath().c_str(), RTLD_NOW | RTLD_NODELETE);
    if (is("reload+memory")) state.block = std::malloc(100);
    if (is("reload+mappings"))
        mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
}

}  // namespace

std::int32_t getModuleID() {
    static int calls = 0;
    if (is("id+hangs"))
        for (;;) pause();
    if (is("id+ends-the-process")) std::_Exit(0);
    if (is("id+throws")) throw OwnError();
    if (is("unmapped")) dlopen(ownPath().c_str(), RTLD_NOW | RTLD_NODELETE);
    if (is("id-constant")) return 60 + ++calls;
    const bool none = is("id") || (is("registration") && ownPath().front() != '/');
    return none ? 0 : 60;
}

void initialize(const char* text) {
    crashIf(is("initialize-first"));
    if (is("initialize-first+throws")) throw OwnError();
    crashIf(is("initialize-broken") && std::string_view(text).size() > 1000);
    crashIf(is("initialize-twice") && state.initialized);
    if (is("memory-initialize")) useMemoryUnchecked();
    leaveThingsBehind();
    state.initialized = true;
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (is("register-first+throws")) throw std::runtime_error("no callbacks today");
    crashIf(is("register-first"));
    if (kind == CB_HOSTTEXT && is("callbacks-refused")) return 1;
    const std::lock_guard lock(state.mutex);
    if (kind == CB_LOG) {
        if (is("callbacks-taken") || (is("callbacks-user") && user != nullptr)) return 0;
        if (is("callbacks-replaced") && state.log != nullptr) return 1;
        state.log = reinterpret_cast<LUMETRA_LOGFN>(function);
        state.nullLog = function == nullptr;
        return 1;
    }
    if (kind != CB_PUSHNATIVEIMAGE) return 0;
    state.push = reinterpret_cast<LUMETRA_PUSHFN>(function);
    state.engine = user;
    return 1;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    crashIf(is("unregister-first"));
    if (is("unregister-first+throws")) throw OwnError();
    const std::lock_guard lock(state.mutex);
    if (kind == CB_LOG && !is("callbacks-unregistered")) state.log = nullptr;
    if (kind == CB_PUSHNATIVEIMAGE && !is("push-ends")) state.push = nullptr;
    if (is("callbacks-taken+back")) return 0;
    return kind == CB_LOG || kind == CB_PUSHNATIVEIMAGE ? 1 : 0;
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    crashIf(is("supported-first"));
    if (is("supported-first+throws")) throw std::runtime_error("no kinds today");
    kinds[0] = CB_LOG;
    kinds[1] = is("callbacks-known") ? static_cast<LUMETRA_CBTYPE>(77) : CB_PUSHNATIVEIMAGE;
    if (is("callbacks-known+again")) kinds[1] = CB_LOG;
    if (is("callbacks-room"))
        for (int k = 0; k < 5; ++k) kinds[k] = static_cast<LUMETRA_CBTYPE>(k + 1);
    if (is("callbacks-count")) return -7;
    return is("callbacks-room") ? 5 : 2;
}

int command(LUMETRA_CMDTYPE command, const char* text) {
    crashIf(is("command-first") && !state.initialized);
    if (is("command-first+throws")) throw OwnError();
    crashIf(is("command-numbers") && command < 0);
    crashIf(is("command-texts") && std::string_view(text).size() > 1000);
    crashIf(is("frame-calls") && command == LUMETRA_CMD_STOP && state.inFrame > 0);
    if (is("engine-answers") && isInEngine(__builtin_return_address(0))) return 5;
    if (is("memory-command") && command >= LUMETRA_CMD_MODULE_FIRST) useMemoryUnchecked();
    return 0;
}

void notifyNewData(std::uint64_t id, std::shared_ptr<IChnk> frame) {
    if (is("frame-first+throws")) throw std::runtime_error("no frames today");
    crashIf(is("frame-first") && !state.initialized);
    crashIf(is("frame-late") && state.destroyed);
    const FrameCount count;
    crashIf(state.inFrame > 1 && is("frame-overlap"));
    if (is("frame-overlap") || is("frame-calls")) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (is("removal-amid-frames") && frame->width > 64)
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    if (is("memory-frame")) useMemoryUnchecked();
    if (is("small-stack")) useMuchStack();
    if (is("standard-output")) std::puts("a frame");
    lookAtId(id);
    lookAtShape(*frame);
    useShared(frame);
    log();
    crashIf(is("callbacks-null") && state.nullLog);
    push(*frame);
}

std::int32_t getStatus() {
    if (is("status-first")) throw std::runtime_error("no status today");
    const std::lock_guard lock(state.mutex);
    return STATUS_READY;
}

void destroy() {
    crashIf(is("destroy-first") && !state.initialized);
    if (is("destroy-first+throws")) throw OwnError();
    crashIf(is("removal-amid-frames") && state.inFrame > 0);
    const std::lock_guard lock(state.mutex);
    state.destroyed = true;
    if (!is("push-ends")) state.push = nullptr;
}
