// host.h - the host's side of every subject: an engine, cameras, and listeners, which count what reaches
// modules. An engine outlives its listeners.
#ifndef LUMETRA_STRESS_HOST_H
#define LUMETRA_STRESS_HOST_H

#include <LumetraCore/IChnk.h>
#include <LumetraCore/LumetraCore.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "stress/verdict.h"
#include "tests/modules/listener.h"

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

inline void pause(double milliseconds) {
    std::this_thread::sleep_for(Milliseconds(milliseconds));
}

/// How many milliseconds it takes until the condition is true; gives up after two seconds.
template <class Condition>
double msUntil(Condition condition) {
    const auto start = Clock::now();
    for (;; pause(0.2)) {
        const bool done = condition();
        const double passed = Milliseconds(Clock::now() - start).count();
        if (done || passed > 2000) return passed;
    }
}

/// Whether a module's library is still there.
inline bool isMapped(const std::u16string& module) {
    const std::string name(module.begin(), module.end());
    void* const handle = dlopen((name + ".framework/" + name).c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

struct Picture {
    int width, height;
    LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_RGB;
};

struct Engine {
    explicit Engine(const Picture& picture) {
        LumetraCore_initialize();
        configure(picture);
    }
    ~Engine() { LumetraCore_destroy(); }

    /// Grey, upside down, and with the seven smaller levels that are pushed.
    static void configure(const Picture& picture) {
        const std::string text = R"({"imageCfg":{"width":)" + std::to_string(picture.width) +
                                 R"(,"height":)" + std::to_string(picture.height) + R"(},"format":)" +
                                 std::to_string(picture.format) + R"(,"mipMap":true,"conversionflags":7})";
        LumetraCore_command(0, LUMETRA_CMD_CONFIGURE, std::u16string(text.begin(), text.end()).c_str());
    }
};

/// Every byte of a frame is its number modulo 251, and stays so when it becomes grey.
class Camera {
public:
    Camera(const Picture& picture, unsigned seed)
        : m_pixels(static_cast<std::size_t>(picture.width * picture.height * bytesPerPixel(picture.format)) *
                   134 / 100),
          m_random(seed) {}

    void push(int frame) {
        const auto brightness = static_cast<unsigned char>(frame % 251);
        if (m_pixels.front() != brightness) std::ranges::fill(m_pixels, brightness);
        LumetraCore_pushImageData(m_pixels.data(), static_cast<int>(m_pixels.size()), u"{}", frame);
    }

    /// Pushes `count` frames, each up to a quarter of a period late and no two in one millisecond. Goes on
    /// at its rate after a delay, as cameras do, without a burst.
    void play(int first, int count, int framesPerSecond) {
        using namespace std::chrono;
        const auto currentMs = [] { return floor<milliseconds>(system_clock::now()); };
        const nanoseconds period(1'000'000'000 / framesPerSecond);
        for (int frame = first; frame < first + count; ++frame) {
            m_due = std::max(m_due, Clock::now() - period) + period;
            const auto due = m_due + period / 400 * (m_random() % 100);
            std::this_thread::sleep_until(due);
            worstDelayMs = std::max(worstDelayMs, Milliseconds(Clock::now() - due).count());
            push(frame);
            for (const auto pushed = currentMs(); currentMs() == pushed;) pause(0.1);
        }
    }

    double frameMb() const { return static_cast<double>(m_pixels.size()) / (1 << 20); }
    double worstDelayMs = 0;  // of the machine in waking it up

private:
    static int bytesPerPixel(LUMETRA_IMGFORMATTYPE format) {
        return format == LUMETRA_IMGFORMAT_BGRA ? 4 : 3;  // more than YUYV needs
    }

    std::vector<unsigned char> m_pixels;
    std::mt19937 m_random;
    Clock::time_point m_due;
};

/// A listening module and what reached it: of frames 0 to `frames` - 1 how often and whether they were as
/// pushed, of others how many.
class Listener {
public:
    Listener(const char16_t* module, int frames)
        : m_module(module), m_times(static_cast<std::size_t>(frames)) {
        LumetraCore_registerCallback(LumetraCore_registerDllByName(module), CB_TYPE2,
                                     reinterpret_cast<void*>(static_cast<ListenFn*>(&onTold)), this);
    }
    ~Listener() { remove(); }

    /// Removes the module and waits for its last notification. False if it is not gone then.
    bool remove() {
        LumetraCore_unregisterDllByName(m_module);
        msUntil([this] { return !isMapped(m_module); });
        const std::lock_guard lock(m_mutex);  // the thread sanitizer does not see the loader's
        return !isMapped(m_module);
    }

    /// How many of the last frames are still alive.
    int kept() const {
        const std::lock_guard lock(m_mutex);
        return static_cast<int>(std::ranges::count(m_latest, false, &std::weak_ptr<IChnk::dPtr>::expired));
    }

    /// Waits for the last of these frames to be delivered and dropped.
    static void requireAll(const std::vector<const Listener*>& all, int first, int count, Verdict& verdict) {
        double dropped = 0, doubled = 0, spoiled = 0, kept = 0;
        pause(300);
        for (const Listener* listener : all) {
            const auto begin = listener->m_times.begin() + first;
            for (auto times = begin; times != begin + count; ++times) {
                dropped += *times == 0;
                doubled += *times > 1;
            }
            spoiled += listener->spoiled;
            kept += listener->kept();
        }
        verdict.show("frames", count);
        verdict.atMost("dropped", dropped, 0);
        verdict.atMost("doubled", doubled, 0);
        verdict.atMost("spoiled", spoiled, 0);
        verdict.atMost("kept", kept, 0);
    }

    std::atomic<int> delivered = 0, spoiled = 0;

private:
    static void onTold(void* listener, std::uint64_t, const IChnk& chunk) {
        auto& self = *static_cast<Listener*>(listener);
        const auto frame = static_cast<std::size_t>(chunk.frameIndex);
        if (frame < self.m_times.size()) {
            const auto isRight = [&](int pixel) { return chunk.data->lvl[0][pixel] == frame % 251; };
            ++self.m_times[frame];
            self.spoiled += chunk.format != LUMETRA_IMGFORMAT_GRAY8 || !isRight(0) ||
                            !isRight(chunk.width * chunk.height - 1);
        }
        const std::lock_guard lock(self.m_mutex);
        self.m_latest[static_cast<std::size_t>(self.delivered++) % std::size(self.m_latest)] = chunk.data;
    }

    const char16_t* m_module;
    std::vector<std::atomic<int>> m_times;  // by frame
    mutable std::mutex m_mutex;
    std::weak_ptr<IChnk::dPtr> m_latest[128];  // a ring, guarded by m_mutex
};

struct Settings {
    int seconds = 4;  // of each steady load and overload
    unsigned seed = 1;
};
using Subject = void(const Settings& settings, Verdict& verdict);
Subject steadyLoad, overload, stuckModules, lifeCycle, misbehavingModules, logSinks;

#endif
