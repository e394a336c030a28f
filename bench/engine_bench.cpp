// engine_bench.cpp - what a running engine costs its host: a push, a frame from push to notification, page
// faults, memory, waiting, and doing nothing. Every benchmark is one run of some seconds.
#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <semaphore>

#include "bench/live_engine.h"
#include "image/conversion.h"
#include "image/frame_buffers.h"
#include "image/pixel_formats.h"
#include "image/pyramid.h"

#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

using namespace lumetra;

namespace {

constexpr int FRAMES_ALIVE = 7;  // at 60 frames a second, each for 100 ms
constexpr auto STANDARD_FLAGS = static_cast<LUMETRA_CONVERSIONMODIFIER>(7);

void once(const std::string& name, void (*run)(benchmark::State&, FrameSize, double), FrameSize size,
          double parameter) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) {
                                     for (auto _ : state) run(state, size, parameter);
                                 })
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

std::size_t bufferSize(FrameSize size, LUMETRA_IMGFORMATTYPE format) {
    return static_cast<std::size_t>(pyramidBytes(pictureBytes(format, size.width, size.height)));
}

// The push, beside memcpy into buffers as many and as old as the engine's. Both at 60 frames a second.
void intake(benchmark::State& state, FrameSize size, double rate) {
    const LiveEngine engine(size, LUMETRA_IMGFORMAT_RGB);
    const Bytes frame = randomBytes(3 * size.pixels(), 1);
    std::vector<Bytes> warm(FRAMES_ALIVE, Bytes(bufferSize(size, LUMETRA_IMGFORMAT_RGB)));
    SideBySide times;
    std::size_t round = 0;
    const auto pushAndCopy = [&] {
        Bytes& buffer = warm[++round % warm.size()];
        const auto copy = [&] { std::memcpy(buffer.data(), frame.data(), frame.size()); };
        const double first =
            round % 2 == 0 ? SideBySide::time(copy) : 0;  // the second finds the frame in cache
        const double push = SideBySide::time([&] { LiveEngine::push(frame); });
        times.round(push, first + (round % 2 == 0 ? 0 : SideBySide::time(copy)));
    };
    pace(rate, 3, pushAndCopy);  // until as many buffers are there as are ever in flight
    times = {};
    const long faults = pageFaults();
    pace(rate, 4, pushAndCopy);
    state.counters["faults/frame"] = static_cast<double>(pageFaults() - faults) / (4 * rate);
    times.report(state);
}

#if defined(LUMETRA_HAS_LIBYUV)
// What a frame needs at least: a copy into a buffer that is used again, and on another thread grey, upside
// down, and eight levels.
class PeerRoad {
public:
    using Convert = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

    PeerRoad(FrameSize size, std::size_t bytesPerPixel, Convert convert)
        : m_size(size),
          m_bytesPerPixel(bytesPerPixel),
          m_convert(convert),
          m_buffers(FRAMES_ALIVE, Bytes(2 * bytesPerPixel * size.pixels())),
          m_grey(2 * size.pixels()) {}
    ~PeerRoad() {
        m_running = false;
        m_pushed.release();
        m_worker.join();
    }

    void push(const Bytes& frame) {
        Bytes& buffer = m_buffers[m_next++ % m_buffers.size()];
        std::memcpy(buffer.data(), frame.data(), frame.size());
        m_current = &buffer;
        m_pushed.release();
        m_done.acquire();
    }

private:
    void work() {
        for (m_pushed.acquire(); m_running; m_pushed.acquire()) {
            const std::uint8_t* in = m_current.load()->data();
            std::uint8_t* out = m_grey.data();
            for (int k = 0; k < PYRAMID_LEVELS; ++k) {
                const int width = m_size.width >> k, height = m_size.height >> k;
                const int stride = static_cast<int>(m_bytesPerPixel) * width;
                m_convert(in, stride, out, width, width, -height);
                in += stride * height;
                out += width * height;
            }
            m_done.release();
        }
    }

    const FrameSize m_size;
    const std::size_t m_bytesPerPixel;
    const Convert m_convert;
    std::vector<Bytes> m_buffers;
    Bytes m_grey;
    std::size_t m_next = 0;
    std::atomic<Bytes*> m_current = nullptr;
    std::atomic<bool> m_running = true;
    std::binary_semaphore m_pushed{0}, m_done{0};
    std::thread m_worker{[this] { work(); }};
};
#endif

// Processor time for a frame: copying, converting, delivering. What the event loop takes of it, which the
// peer does without, is shown apart. `format` is a LUMETRA_IMGFORMATTYPE.
void endToEnd(benchmark::State& state, FrameSize size, double format) {
    constexpr double RATE = 60;
    const auto imageFormat = static_cast<LUMETRA_IMGFORMATTYPE>(static_cast<int>(format));
    const std::size_t bytesPerPixel = imageFormat == LUMETRA_IMGFORMAT_BGRA ? 4 : 3;
    const Bytes frame = randomBytes(bytesPerPixel * size.pixels(), 1);
    const auto cpuOf = [&](const auto& push, const auto& cpu) {
        pace(RATE, 0.3, push);
        const double before = cpu();
        pace(RATE, 1, push);
        return (cpu() - before) / RATE;
    };
    SideBySide times;
    std::vector<double> loops;
    for (int round = 0; round < 5; ++round) {
        double engine = 0, peer = 0;
        {
            const LiveEngine live(size, imageFormat);
            const auto loopCpu = [&] { return threadsCpu({live.eventLoop()}); };
            const double before = loopCpu();
            engine = cpuOf([&] { LiveEngine::push(frame); }, [&] { return processCpu() - loopCpu(); });
            loops.push_back((loopCpu() - before) / (1.3 * RATE));
        }
#if defined(LUMETRA_HAS_LIBYUV)
        PeerRoad other(size, bytesPerPixel,
                       imageFormat == LUMETRA_IMGFORMAT_BGRA ? libyuv::ARGBToJ400 : libyuv::RAWToJ400);
        peer = cpuOf([&] { other.push(frame); }, processCpu);
#endif
        times.round(engine, peer);
    }
    state.counters["loop"] = median(loops);
    times.report(state);
}

// The hand-overs between threads that bring a frame from its push to a module, and nothing else: pusher,
// loop, worker, loop, worker, worker, pusher.
class BareChain {
public:
    ~BareChain() {
        m_loop.post(nullptr);
        for (std::size_t i = 0; i < m_workers.size(); ++i) m_pool.post(nullptr);
        for (auto& thread : m_workers) thread.join();
        m_loopThread.join();
    }

    double microseconds() {
        return SideBySide::time([this] {
            m_loop.post([this] {
                m_pool.post([this] {
                    m_loop.post(
                        [this] { m_pool.post([this] { m_pool.post([this] { m_end.release(); }); }); });
                });
            });
            m_end.acquire();
        });
    }

private:
    class Queue {
    public:
        void post(Work work) {
            {
                const std::lock_guard lock(m_mutex);
                m_work.push_back(std::move(work));
            }
            m_posted.notify_one();
        }
        void run() {
            for (;;) {
                std::unique_lock lock(m_mutex);
                m_posted.wait(lock, [this] { return !m_work.empty(); });
                const Work work = std::move(m_work.front());
                m_work.pop_front();
                lock.unlock();
                if (!work) return;
                work();
            }
        }

    private:
        std::mutex m_mutex;
        std::condition_variable m_posted;
        std::deque<Work> m_work;
    };

    Queue m_loop, m_pool;
    std::binary_semaphore m_end{0};
    std::thread m_loopThread{[this] { m_loop.run(); }};
    std::array<std::thread, 2> m_workers{std::thread([this] { m_pool.run(); }),
                                         std::thread([this] { m_pool.run(); })};
};

// From push to notification, beside a bare chain of the same hand-overs, the conversion and a turn of the
// loop.
void latency(benchmark::State& state, FrameSize size, double rate) {
    constexpr double TURN = 100;  // us
    const LiveEngine engine(size, LUMETRA_IMGFORMAT_RGB);
    const Bytes frame = randomBytes(3 * size.pixels(), 1);
    const auto frames = std::make_shared<FrameBuffers>();
    BareChain chain;
    SideBySide times;
    std::vector<double> latencies, chains, conversions;
    std::size_t pushed = 0;
    const auto round = [&] {
        IChnk chunk(size.width, size.height, LUMETRA_IMGFORMAT_RGB, 0, "");
        frames->allocatePixels(chunk, static_cast<std::int32_t>(bufferSize(size, chunk.format)));
        layOutLevels(chunk);
        std::memcpy(chunk.data->lvl[0], frame.data(), frame.size());
        conversions.push_back(
            SideBySide::time([&] { convert(chunk, planConversion(chunk, STANDARD_FLAGS, true)); }));
        chains.push_back(chain.microseconds());

        bool delivered = false;
        latencies.push_back(SideBySide::time([&] {
            LiveEngine::push(frame);
            delivered = DeliveredFrames::waitFor(++pushed);
        }));
        if (delivered) times.round(latencies.back(), chains.back() + conversions.back() + TURN);
    };
    pace(rate, 1, round);  // until every buffer is there
    times = {};
    latencies.clear(), chains.clear(), conversions.clear();
    const long switches = contextSwitches({engine.eventLoop()}), sleeps = endedSleeps(engine.eventLoop());
    pace(rate, 5, round);
    const double frameCount = 5 * rate;
    state.counters["switches/frame"] =
        static_cast<double>(contextSwitches({engine.eventLoop()}) - switches) / frameCount;
    state.counters["timers/frame"] =
        static_cast<double>(endedSleeps(engine.eventLoop()) - sleeps) / frameCount;
    state.counters["p99/median"] = percentile(latencies, 0.99) / median(latencies);
    state.counters["chain-p99/median"] = percentile(chains, 0.99) / median(chains);
    state.counters["chain"] = median(chains);
    state.counters["conversion"] = median(conversions);
    state.counters["of-bound"] = median(latencies) / (1.25 * median(chains) + median(conversions) + TURN);
    times.report(state);
}

// Frames dropped at a rate that keeps two frames out of one millisecond.
void sustained(benchmark::State& state, FrameSize size, double rate) {
    const LiveEngine engine(size, LUMETRA_IMGFORMAT_RGB);
    const Bytes frame = randomBytes(3 * size.pixels(), 1);
    std::size_t pushed = 0;
    pace(rate, 5, [&] {
        LiveEngine::push(frame);
        ++pushed;
    });
    DeliveredFrames::waitFor(pushed);
    state.counters["pushed"] = static_cast<double>(pushed);
    state.counters["dropped"] = static_cast<double>(pushed - DeliveredFrames::count());
}

// An engine without frames, from two seconds after its last one: how often its threads run, and for how long.
void idle(benchmark::State& state, FrameSize size, double) {
    constexpr double SECONDS = 10;
    const LiveEngine engine(size, LUMETRA_IMGFORMAT_RGB);
    const Bytes frame = randomBytes(3 * size.pixels(), 1);
    pace(60, 1, [&] { LiveEngine::push(frame); });
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const long switches = contextSwitches(engine.threads());
    const double cpu = threadsCpu(engine.threads());
    std::this_thread::sleep_for(std::chrono::duration<double>(SECONDS));
    state.counters["wake-ups/s"] =
        static_cast<double>(contextSwitches(engine.threads()) - switches) / SECONDS;
    state.counters["cpu%"] = (threadsCpu(engine.threads()) - cpu) / SECONDS / 1e4;
}

// From nothing to an engine that takes calls, and from there to its last thread's end; with a pause between,
// in which the threads begin.
void startAndStop(benchmark::State& state, FrameSize, double) {
    LumetraCore_registerCallback(0, CB_LOG, nullptr, nullptr);
    const auto microseconds = [](auto work) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return SideBySide::Microseconds(std::chrono::steady_clock::now() - begin).count();
    };
    std::vector<double> starts, stops;
    for (int round = 0; round < 200; ++round) {
        starts.push_back(microseconds(LumetraCore_initialize));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        stops.push_back(microseconds(LumetraCore_destroy));
    }
    state.counters["start_us"] = median(starts);
    state.counters["stop_us"] = median(stops);
}

// Peak of resident memory while frames come, beyond what the idle engine has, in buffers.
void memory(benchmark::State& state, FrameSize size, double rate) {
    const Bytes frame = randomBytes(3 * size.pixels(), 1);
    const LiveEngine engine(size, LUMETRA_IMGFORMAT_RGB);
    restartPeakMemory();
    const double before = processMemory("VmRSS");
    pace(rate, 4, [&] { LiveEngine::push(frame); });
    const double seven = FRAMES_ALIVE * static_cast<double>(bufferSize(size, LUMETRA_IMGFORMAT_RGB));
    state.counters["MB"] = (processMemory("VmHWM") - before) / 1e6;
    state.counters["ratio"] = (processMemory("VmHWM") - before) / seven;
}

const bool registered = [] {
    constexpr FrameSize VGA = FRAME_SIZES[0], HD = FRAME_SIZES[1], FULL_HD = FRAME_SIZES[2];
    for (const FrameSize size : {VGA, HD, FULL_HD}) {
        once("intake/" + size.name(), intake, size, 60);
        once("end-to-end/rgb/" + size.name(), endToEnd, size, LUMETRA_IMGFORMAT_RGB);
        once("end-to-end/bgra/" + size.name(), endToEnd, size, LUMETRA_IMGFORMAT_BGRA);
        once("memory/" + size.name(), memory, size, 60);
    }
    for (const int rate : {30, 60, 240, 980})
        once("latency/" + std::to_string(rate) + "fps", latency, VGA, rate);
    once("sustained/980fps/" + VGA.name(), sustained, VGA, 980);
    once("sustained/980fps/" + HD.name(), sustained, HD, 980);
    once("sustained/360fps/" + FULL_HD.name(), sustained, FULL_HD, 360);
    once("idle", idle, VGA, 0);
    once("start and stop", startAndStop, VGA, 0);
    return true;
}();

}  // namespace
