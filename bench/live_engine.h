// live_engine.h - an engine as a host runs it, with a module that reports every frame, and what the process
// costs meanwhile.
#ifndef LUMETRA_BENCH_LIVE_ENGINE_H
#define LUMETRA_BENCH_LIVE_ENGINE_H

#include <LumetraCore/LumetraCore.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/clock.h"
#include "bench/side_by_side.h"
#include "tests/modules/listener.h"

inline double processCpu() {  // microseconds
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/// The threads of the process, oldest first.
inline std::vector<std::string> threads() {
    std::vector<std::string> tasks;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        tasks.push_back(entry.path().filename());
    std::ranges::sort(tasks, {}, [](const std::string& task) { return std::stoi(task); });
    return tasks;
}

/// Processor time of these threads, in microseconds.
inline double threadsCpu(const std::vector<std::string>& threads) {
    double sum = 0;
    for (const std::string& thread : threads) {
        double nanoseconds = 0;
        std::ifstream("/proc/self/task/" + thread + "/schedstat") >> nanoseconds;
        sum += nanoseconds / 1e3;
    }
    return sum;
}

/// How often these threads stopped running so far.
inline long contextSwitches(const std::vector<std::string>& threads) {
    long sum = 0;
    for (const std::string& thread : threads) {
        std::ifstream status("/proc/self/task/" + thread + "/status");
        for (std::string word; status >> word;) {
            long switches = 0;
            if (word.ends_with("voluntary_ctxt_switches:") && status >> switches) sum += switches;
        }
    }
    return sum;
}

/// How many waits of this thread ended because their time had come; counted in timed_waits.cpp.
long endedSleeps(const std::string& thread);

inline long pageFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

/// A value of /proc/self/status in bytes, such as VmRSS or VmHWM.
inline double processMemory(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if (word == key + ":" && status >> kilobytes) return kilobytes * 1024;
    }
    return 0;
}
inline void restartPeakMemory() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

/// Frames delivered so far; the module's notifications come in here.
class DeliveredFrames {
public:
    static void restart() {
        const std::lock_guard lock(mutex);
        ids.clear();
    }
    static void add(void*, std::uint64_t id, const IChnk&) {
        {
            const std::lock_guard lock(mutex);
            ids.insert(id);
        }
        changed.notify_all();
    }
    static bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(2), [&] { return ids.size() >= count; });
    }
    static std::size_t count() {
        const std::lock_guard lock(mutex);
        return ids.size();
    }

private:
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline std::set<std::uint64_t> ids;
};

/// One engine, set up for frames of one size and format with a pyramid; it flips and derives grey as by
/// default. Log lines go nowhere.
class LiveEngine {
public:
    LiveEngine(FrameSize size, int format) {
        if (chdir(LUMETRA_BENCH_MODULES) != 0) throw std::runtime_error("no folder " LUMETRA_BENCH_MODULES);
        const std::vector<std::string> before = ::threads();
        LumetraCore_initialize();
        for (const std::string& thread : ::threads())
            if (!std::ranges::count(before, thread)) m_threads.push_back(thread);
        LumetraCore_registerCallback(0, CB_LOG, nullptr, nullptr);
        const std::string text = R"({"mipMap":true,"imageCfg":{"width":)" + std::to_string(size.width) +
                                 R"(,"height":)" + std::to_string(size.height) + R"(},"format":)" +
                                 std::to_string(format) + "}";
        LumetraCore_command(0, LUMETRA_CMD_CONFIGURE, std::u16string(text.begin(), text.end()).c_str());
        LumetraCore_registerCallback(LumetraCore_registerDllByName(u"Listening"), CB_TYPE2,
                                     reinterpret_cast<void*>(static_cast<ListenFn*>(&DeliveredFrames::add)),
                                     nullptr);
        DeliveredFrames::restart();
    }
    ~LiveEngine() {
        LumetraCore_unregisterDllByName(u"Listening");
        LumetraCore_destroy();
    }
    LiveEngine(const LiveEngine&) = delete;
    LiveEngine& operator=(const LiveEngine&) = delete;

    /// The engine's own, the event loop last.
    const std::vector<std::string>& threads() const { return m_threads; }
    const std::string& eventLoop() const { return m_threads.back(); }

    static void push(const Bytes& frame) {
        LumetraCore_pushImageData(frame.data(), static_cast<std::int32_t>(frame.size()), u"{\"frame\":1}", 1);
    }

private:
    std::vector<std::string> m_threads;
};

/// Calls `work` so many times a second, never twice in a millisecond: frames of one millisecond replace each
/// other.
template <class Function>
void pace(double rate, double seconds, Function work) {
    const auto period = std::chrono::duration<double>(1 / rate);
    const auto begin = std::chrono::steady_clock::now();
    std::uint64_t previous = 0;
    for (int i = 0; i < static_cast<int>(rate * seconds); ++i) {
        std::this_thread::sleep_until(begin +
                                      std::chrono::duration_cast<std::chrono::nanoseconds>((i + 1) * period));
        while (lumetra::currentTimeMs() == previous) {
        }
        work();
        previous = lumetra::currentTimeMs();
    }
}

#endif
