// What is left when memory runs out: every allocation of an operation fails in its turn, once. The operation
// may throw std::bad_alloc and a frame may be dropped; nothing may be leaked, held for ever or brought down.
// A program of its own, since it replaces operator new for the engine, the standard library and the modules.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>

#include "tests/modules/recorder.h"
#include "tests/support/configurations.h"
#include "tests/support/engine_probe.h"
#include "tests/support/waiting.h"

using namespace lumetra;

namespace {

std::atomic<long> untilFailure = LONG_MAX;  // allocations
std::atomic<long> liveAllocations = 0;
thread_local bool looking = false;  // what the test itself allocates to look on neither fails nor counts

void* allocate(std::size_t size) {
    if (!looking && untilFailure.fetch_sub(1) == 0) throw std::bad_alloc();
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    ++liveAllocations;
    return block;
}

void release(void* block) noexcept {
    if (block != nullptr) --liveAllocations;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

namespace {

constexpr int WIDTH = 64, HEIGHT = 48;

// Runs the operation, whose allocation with this number fails, and which may throw std::bad_alloc and nothing
// else. False where that allocation did not come to pass, so that there are no more of them.
template <class Operation>
bool withoutMemory(long number, Operation operation) {
    untilFailure = number;
    try {
        operation();
    } catch (const std::bad_alloc&) {
    }
    return untilFailure.exchange(LONG_MAX) < 0;
}

const char16_t* agree(void*, const char16_t* text) {
    return text;
}

class Engine {
public:
    Engine() {
        engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, nullptr, nullptr);
        engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&agree), nullptr);
        configure();
    }

    void configure() {
        engine.configure(configurationText(WIDTH, HEIGHT, 4,
                                           R"(,"mipMap":true,"forwardNativeImage":true,"conversionflags":7,)"
                                           R"("writablepath":"/a/path/that/is/longer/than/short/strings")")
                             .c_str());
    }
    void push() { engine.pushImageData(m_frame, sizeof m_frame, DESCRIPTOR, 1); }
    void pushAsModule() {
        LumetraCoreExecutor::pushNativeImage(&engine, m_frame, sizeof m_frame, DESCRIPTOR, 1);
    }

    // Returns once a pushed frame is kept for its last milliseconds, or dropped: one without a message would
    // stay for ever. A turn of the event loop that throws ends the process.
    void waitUntilFramesAreKeptOrDropped() {
        waitUntil([this] {
            looking = true;
            const auto waiting = messages.copy();
            const bool areThere = !EngineProbe::chunks(engine).copy().empty();
            looking = false;
            return !areThere || (!waiting.empty() && waiting.front().type == MSG_RETAIN);
        });
    }

    // Messages that come and go: the queue takes memory for many at a time, and one of them has to be the
    // first for which there is none left.
    void handleMessages(int count) {
        for (int i = 0; i < count; ++i) messages.post({0, 0});
        waitUntil([this] { return messages.copy().empty(); });
    }

    LumetraCoreExecutor engine;

private:
    static constexpr const char* DESCRIPTOR = R"({"camera":"a name beyond what short strings hold","n":1.5})";

    MessageQueue& messages = EngineProbe::messages(engine);
    unsigned char m_frame[2 * WIDTH * HEIGHT] = {};
};

// One round for each allocation of the operation, each with an engine of its own. `prepare` and `finish` have
// memory.
void failEachAllocation(const std::function<void(Engine&)>& prepare,
                        const std::function<void(Engine&)>& operation,
                        const std::function<void(Engine&)>& finish) {
    bool allocated = true;
    long number = 0;
    for (; allocated; ++number) {
        const long before = liveAllocations;
        {
            Engine engine;
            prepare(engine);
            allocated = withoutMemory(number, [&] { operation(engine); });
            finish(engine);
        }
        const long after = liveAllocations;
        ASSERT_EQ(before, after) << "allocation " << number;
    }
    EXPECT_GT(number, 2) << "this test should see some allocations";
}

void nothing(Engine&) {}

int exitOf(const std::function<int()>& scenario) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        std::fclose(stderr);
        _exit(scenario());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

// In processes of their own: a worker that cannot be started beside others ends the process.
TEST(WithoutMemory, AnEngineIsNotMadeAndLeavesNothing) {
    enum { MADE, REFUSED, LEAKED };
    const auto initialize = [](long number) {
        const long before = liveAllocations;
        const bool refused = withoutMemory(number, [] { LumetraCoreExecutor engine; });
        return liveAllocations != before ? LEAKED : refused ? REFUSED : MADE;
    };
    initialize(LONG_MAX - 1);  // what is made once in a process is made now
    const int otherWorkers = static_cast<int>(workerCount(std::thread::hardware_concurrency())) - 1;
    int ended = 0, status = REFUSED;
    for (long number = 0; status != MADE; ++number) {
        status = exitOf([&] { return initialize(number); });
        ended += status == -SIGABRT ? 1 : 0;
        ASSERT_TRUE(status == MADE || status == REFUSED || status == -SIGABRT)
            << "allocation " << number << ": " << status;
    }
#ifdef _LIBCPP_VERSION
    constexpr int THREAD_ALLOCATIONS = 3;  // the arguments, what the thread knows of itself, and of its end
#else
    constexpr int THREAD_ALLOCATIONS = 1;
#endif
    EXPECT_LE(ended, (THREAD_ALLOCATIONS + 1) * otherWorkers) << "each may also make their list grow";
}

TEST(WithoutMemory, AConfigurationIsRefusedOrComplete) {
    failEachAllocation([](Engine& engine) { engine.engine.invalidateConfiguration(); },
                       [](Engine& engine) { engine.configure(); },
                       [](Engine& engine) {
                           const auto cfg = EngineProbe::configuration(engine.engine);
                           EXPECT_TRUE(!cfg.valid || (cfg.width == WIDTH && cfg.writablepath.size() > 20));
                       });
}

TEST(WithoutMemory, AFrameIsRefusedOrBroughtToModulesOrDropped) {
    constexpr int TAKEN_AT_ONCE = 32;  // messages, by the GNU library's queue
    for (int before = TAKEN_AT_ONCE - 4; before < TAKEN_AT_ONCE; ++before) {
        for (const auto push : {&Engine::push, &Engine::pushAsModule})
            failEachAllocation(
                [before](Engine& engine) {
                    engine.engine.registerDllByName("Recorder");
                    engine.handleMessages(before);
                },
                [push](Engine& engine) {
                    try {
                        (engine.*push)();
                    } catch (const std::bad_alloc&) {  // the frame is refused
                    }
                    engine.waitUntilFramesAreKeptOrDropped();
                },
                [](Engine& engine) { engine.engine.unregisterDllByName("Recorder"); });
    }
}

TEST(WithoutMemory, AModuleIsLoadedOrClosed) {
    failEachAllocation(
        nothing, [](Engine& engine) { engine.engine.registerDllByName("Recorder"); },
        [](Engine& engine) {
            engine.engine.unregisterDllByName("Recorder");
            EXPECT_FALSE(isMapped("Recorder"));
        });
}
