// picture_encoder.h - pictures of frames for the host: grey JPEG files as base64 text, one at a time.
#ifndef LUMETRA_IMAGE_PICTURE_ENCODER_H
#define LUMETRA_IMAGE_PICTURE_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/synchronized.h"

namespace lumetra {

inline constexpr unsigned int JPEG_CAPACITY = 1048576;  // bytes

/// Encodes one picture at a time. Buffers live from allocate() to release(). Any thread. The engine's is
/// processWide(); its buffers live as long as the engine.
class PictureEncoder {
public:
    /// @throws std::bad_alloc
    void allocate();
    void release();

    /// Appends the picture's base64 text; nothing if a side is empty. Beyond JPEG_CAPACITY it is truncated.
    /// @param frame  borrowed: 2 bytes a pixel, the first of them its luma
    /// @throws std::bad_alloc
    void appendPicture(std::u16string& text, const unsigned char* frame, std::int32_t width,
                       std::int32_t height);

private:
    struct State {
        std::unique_ptr<unsigned char[]> m_jpgData;
        unsigned int m_jpgDataSize = 0;
        // Kept between frames: fresh memory costs more than filling it.
        std::unique_ptr<unsigned char[]> grey;
        std::size_t greyPixels = 0;
    };

    static void encode(State& state, const unsigned char* frame, std::int32_t width, std::int32_t height);
    static void store(void* state, const unsigned char* bytes, std::size_t count);

    Synchronized<State> m_state;
};

}  // namespace lumetra

#endif
