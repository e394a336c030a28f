// frame_buffers.h - the pixel buffers of chunks, recycled.
// Fresh memory costs more than the copy of a frame, a page fault every 4 KiB, so a buffer whose last owner
// has gone waits for the next frame of its size.
#ifndef LUMETRA_IMAGE_FRAME_BUFFERS_H
#define LUMETRA_IMAGE_FRAME_BUFFERS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "LumetraCore/IChnk.h"
#include "base/synchronized.h"
#include "core/load_limits.h"

namespace lumetra {

/// Buffers of one size that wait for a frame, never more than were in use at once. Any thread. Own it by
/// std::shared_ptr: a chunk may outlive it and then frees its buffer.
class FrameBuffers : public std::enable_shared_from_this<FrameBuffers> {
public:
    using Clock = std::chrono::steady_clock;

    /// Gives a chunk without pixels its buffer, uninitialised, and sets its `size`. A grey chunk's buffer has
    /// room for seven derived levels even where `size` does not say so: whether they are derived is decided
    /// later, by the configuration of that moment.
    /// @param bytes  the chunk's `size`, at least level 0 of the chunk's format
    /// @throws std::bad_alloc
    void allocatePixels(IChnk& chunk, std::int32_t bytes);

    /// Frees the buffer that has waited longest if no frame has come for BUFFER_IDLE_TIME, or if it is no
    /// spare one and has waited for longer than that. One at a time: to free hundreds takes longer than a
    /// frame may wait.
    /// @return when to call it again if no frame comes until then; Clock::time_point::max() for never
    Clock::time_point trim(Clock::time_point now);

    std::size_t waiting() const;

private:
    /// Frees a buffer the way it was allocated, which follows from its capacity.
    struct Release {
        std::size_t capacity;
        void operator()(unsigned char* bytes) const noexcept;
    };
    using Buffer = std::unique_ptr<unsigned char[], Release>;
    struct Waiting {
        Buffer buffer;
        Clock::time_point since;
    };

    struct State {
        bool framesComeAt(Clock::time_point now) const { return now - lastTaken < BUFFER_IDLE_TIME; }

        std::vector<Waiting> waiting;  // longest waiting first
        std::size_t capacity = 0;      // bytes of each
        Clock::time_point lastTaken;
    };

    static Buffer allocate(std::size_t capacity);
    Buffer take(std::size_t capacity);
    void giveBack(Buffer buffer, std::size_t capacity) noexcept;

    Synchronized<State> m_state;  // memory is freed without its lock
};

}  // namespace lumetra

#endif
