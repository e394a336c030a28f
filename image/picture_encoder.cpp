// picture_encoder.cpp - luma to JPEG to text.
#include "image/picture_encoder.h"

#include <algorithm>
#include <cstring>

#include "image/base64.h"
#include "image/grey/grey_kernels.h"
#include "image/jpeg/TooJpeg.h"

namespace lumetra {

void PictureEncoder::allocate() {
    auto buffer = std::make_unique<unsigned char[]>(JPEG_CAPACITY);
    m_state.with([&buffer](State& state) {
        state.m_jpgData.swap(buffer);
        state.m_jpgDataSize = 0;
    });
}

void PictureEncoder::release() {
    m_state.with([](State& state) { state = State(); });
}

void PictureEncoder::appendPicture(std::u16string& text, const unsigned char* frame, std::int32_t width,
                                   std::int32_t height) {
    if (width < 1 || height < 1) return;
    m_state.with([&](State& state) {
        encode(state, frame, width, height);
        appendBase64(text, state.m_jpgData.get(), state.m_jpgDataSize);
    });
}

void PictureEncoder::encode(State& state, const unsigned char* frame, std::int32_t width,
                            std::int32_t height) {
    constexpr unsigned char QUALITY = 90;
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (state.greyPixels != pixels) {
        state.grey.reset();  // before the allocation: never two at once
        state.greyPixels = 0;
        state.grey.reset(new unsigned char[pixels]);
        state.greyPixels = pixels;
    }
    greyKernels().evenBytes(frame, state.grey.get(), pixels);
    state.m_jpgDataSize = 0;
    TooJpeg::writeJpegInRuns(&store, &state, state.grey.get(), static_cast<unsigned short>(width),
                             static_cast<unsigned short>(height), false, QUALITY, false, "Native");
}

void PictureEncoder::store(void* state, const unsigned char* bytes, std::size_t count) {
    auto& [m_jpgData, m_jpgDataSize, grey, greyPixels] = *static_cast<State*>(state);
    const std::size_t stored = std::min(count, std::size_t{JPEG_CAPACITY} - m_jpgDataSize);
    std::memcpy(m_jpgData.get() + m_jpgDataSize, bytes, stored);
    m_jpgDataSize += static_cast<unsigned int>(stored);
}

}  // namespace lumetra
