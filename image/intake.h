// intake.h - one pushed frame becomes a chunk and a message. Runs on the pusher's thread, any.
#ifndef LUMETRA_IMAGE_INTAKE_H
#define LUMETRA_IMAGE_INTAKE_H

#include <cstdint>

#include "core/configuration.h"
#include "core/message_queue.h"
#include "image/chunk_store.h"
#include "image/frame_buffers.h"

namespace lumetra {

/// A frame as it is pushed. Its geometry is the configuration's; `size` only says how much there is to copy.
struct PushedFrame {
    const unsigned char* data;  // borrowed
    std::int32_t size;          // bytes
    const char* descriptor;     // borrowed
    std::int32_t frameIndex;
};

/// The parts that intake works on; borrowed.
struct IntakeParts {
    FrameBuffers& buffers;
    ChunkStore& chunks;
    MessageQueue& messages;
};

/// A chunk with a copy of the frame, and its levels laid out if there may be any.
/// @throws std::bad_alloc
Chunk pushedChunk(const PushedFrame& frame, const ICfg& cfg, FrameBuffers& buffers);

/// Stores the frame under its push time, posts its conversion and, except on a worker, waits while too much
/// work is queued. False, and nothing done, if the configuration is not valid or there is no data.
/// @throws std::bad_alloc with nothing left of the frame
bool takeIn(const PushedFrame& frame, const ICfg& cfg, const IntakeParts& parts);

}  // namespace lumetra

#endif
