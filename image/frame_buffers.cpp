// frame_buffers.cpp - buffers taken and given back, and the level layout inside them.
#include "image/frame_buffers.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>
#include <utility>

#include "image/pixel_formats.h"

namespace lumetra {

namespace {

// With the address sanitizer buffers are freed at once, so that a use after the last reference is reported.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LUMETRA_ASAN
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define LUMETRA_ASAN
#endif
#if defined(LUMETRA_ASAN)
constexpr bool RECYCLES = false;
#else
constexpr bool RECYCLES = true;
#endif

// Large buffers are mapped separately: the heap may not return them to the system after a burst. Not with the
// address sanitizer, which watches the heap only.
bool isMapped(std::size_t capacity) {
    return RECYCLES && capacity >= MAPPED_BUFFER_BYTES;
}

}  // namespace

FrameBuffers::Buffer FrameBuffers::allocate(std::size_t capacity) {
    if (!isMapped(capacity)) return Buffer(new unsigned char[capacity], {capacity});
    void* const pages = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    return Buffer(static_cast<unsigned char*>(pages), {capacity});
}

void FrameBuffers::Release::operator()(unsigned char* bytes) const noexcept {
    if (isMapped(capacity)) {
        munmap(bytes, capacity);
    } else {
        delete[] bytes;
    }
}

void FrameBuffers::allocatePixels(IChnk& chunk, std::int32_t bytes) {
    auto capacity = static_cast<std::size_t>(bytes);
    if (pixelFormat(chunk.format).roomForLevels) {
        const std::int32_t levels = pyramidBytes(pictureBytes(chunk.format, chunk.width, chunk.height));
        capacity = std::max(capacity, static_cast<std::size_t>(levels));
    }
    auto pixels = std::make_unique<IChnk::dPtr>();
    Buffer buffer = take(capacity);
    const auto letGo = [buffers = weak_from_this(), capacity](IChnk::dPtr* last) {
        const std::unique_ptr<IChnk::dPtr> owned(last);
        Buffer buffer(std::exchange(owned->lvl[0], nullptr), {capacity});
        if (const auto alive = buffers.lock()) alive->giveBack(std::move(buffer), capacity);
    };
    pixels->lvl[0] = buffer.release();
    chunk.data = std::shared_ptr<IChnk::dPtr>(pixels.release(), letGo);
    chunk.size = bytes;
}

FrameBuffers::Clock::time_point FrameBuffers::trim(Clock::time_point now) {
    Waiting oldest;
    return m_state.with([&oldest, now](State& state) {
        auto& waiting = state.waiting;
        const bool framesCome = state.framesComeAt(now);
        const bool tooMany =
            framesCome && waiting.size() > SPARE_BUFFERS && now - waiting.front().since > BUFFER_IDLE_TIME;
        if (tooMany || (!framesCome && !waiting.empty())) {
            oldest = std::move(waiting.front());
            waiting.erase(waiting.begin());
        }
        if (framesCome) return state.lastTaken + BUFFER_IDLE_TIME;
        return waiting.empty() ? Clock::time_point::max() : now + BUFFER_TRIM_PACE;
    });
}

std::size_t FrameBuffers::waiting() const {
    return m_state.with([](const State& state) { return state.waiting.size(); });
}

// The buffer given back last is the one most likely in cache. Another capacity means a new configuration.
FrameBuffers::Buffer FrameBuffers::take(std::size_t capacity) {
    std::vector<Waiting> freed;
    Buffer taken = m_state.with([&freed, capacity](State& state) {
        state.lastTaken = Clock::now();
        if (state.capacity != capacity) {
            freed.swap(state.waiting);
            state.capacity = capacity;
        }
        if (state.waiting.empty()) return Buffer();
        Buffer buffer = std::move(state.waiting.back().buffer);
        state.waiting.pop_back();
        return buffer;
    });
    return taken == nullptr ? allocate(capacity) : std::move(taken);
}

void FrameBuffers::giveBack(Buffer buffer, std::size_t capacity) noexcept {
    if (!RECYCLES || buffer == nullptr) return;
    m_state.with([&buffer, capacity](State& state) {
        const Clock::time_point now = Clock::now();
        if (state.capacity != capacity || !state.framesComeAt(now)) return;  // no frame would take it
        try {
            state.waiting.push_back({std::move(buffer), now});
        } catch (...) {
            // No memory to remember it by: the buffer is freed.
        }
    });
}

}  // namespace lumetra
