// tapped_frame.cpp - the structure that hosts see, in front of what keeps it alive.
#include "tapped_frame.h"

#include <dlfcn.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <memory>
#include <string>

namespace {

std::atomic<std::uint64_t> frames{0};

// What hosts get a pointer to is the base.
struct TappedFrame : LumetraTapFrame {
    explicit TappedFrame(const IChnk& chunk) : LumetraTapFrame(), text(chunk.descriptor), data(chunk.data) {
        ++frames;
    }
    ~TappedFrame() { --frames; }
    TappedFrame(const TappedFrame&) = delete;
    TappedFrame& operator=(const TappedFrame&) = delete;

    std::string text;
    std::shared_ptr<IChnk::dPtr> data;
};

void releaseFrame(const LumetraTapFrame* frame) {
    delete static_cast<const TappedFrame*>(frame);
}

std::uint64_t bitsOfPixel(LUMETRA_IMGFORMATTYPE format) {
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
        case LUMETRA_IMGFORMAT_BGR:
            return 24;
        case LUMETRA_IMGFORMAT_YUV420:
            return 12;
        case LUMETRA_IMGFORMAT_BGRA:
            return 32;
        case LUMETRA_IMGFORMAT_YUYV:
            return 16;
        case LUMETRA_IMGFORMAT_GRAY8:
            return 8;
        default:
            return 0;
    }
}

// Bytes of a level, 0 if it is not there or not within the buffer.
std::int32_t levelSize(const IChnk& chunk, int k) {
    if (chunk.data == nullptr) return 0;
    const unsigned char* const buffer = chunk.data->lvl[0];
    const unsigned char* const pixels = chunk.data->lvl[k];
    if (buffer == nullptr || pixels == nullptr || chunk.width < 1 || chunk.height < 1) return 0;

    const auto width = static_cast<std::uint64_t>(chunk.width >> k);
    const auto height = static_cast<std::uint64_t>(chunk.height >> k);
    const std::uint64_t room = chunk.size < 0 ? 0 : static_cast<std::uint64_t>(chunk.size);
    const std::uint64_t bits = bitsOfPixel(chunk.format);
    if (width == 0 || height == 0 || bits == 0 || width > 8 * room / bits / height) return 0;
    const std::uint64_t size = width * height * bits / 8;
    // A start before the buffer wraps far beyond it.
    const std::uint64_t start =
        reinterpret_cast<std::uintptr_t>(pixels) - reinterpret_cast<std::uintptr_t>(buffer);
    return start <= room && size <= room - start ? static_cast<std::int32_t>(size) : 0;
}

}  // namespace

const LumetraTapFrame* makeTappedFrame(std::uint64_t chunkId, const IChnk& chunk, std::uint64_t skipped) {
    auto frame = std::make_unique<TappedFrame>(chunk);
    frame->structSize = sizeof(LumetraTapFrame);
    frame->format = chunk.format;
    frame->id = chunkId;
    frame->skipped = skipped;
    frame->frameIndex = chunk.frameIndex;
    frame->width = chunk.width;
    frame->height = chunk.height;
    frame->descriptor = frame->text.c_str();
    frame->descriptorSize = static_cast<std::int32_t>(frame->text.size());
    for (int k = 0; k < 8; ++k) {
        frame->levelSizes[k] = levelSize(chunk, k);
        if (frame->levelSizes[k] > 0) frame->levels[k] = chunk.data->lvl[k];
    }
    frame->release = &releaseFrame;
    return frame.release();
}

std::uint64_t tappedFrames() {
    return frames;
}

bool keepLibraryMapped() {
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&releaseFrame), &self) == 0) return false;
    return dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}
