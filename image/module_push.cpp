// module_push.cpp - frames that modules push. Runs on the module's thread.
// Where the host takes part in texts it sees the frame's descriptor first, with a picture of a YUYV frame if
// it wants one, and what it answers travels with the frame.
#include "image/module_push.h"

#include <memory>
#include <mutex>

#include "LumetraCore/utf_conversion.h"
#include "core/LumetraCoreExecutor.h"
#include "core/json_reading.h"
#include "core/json_writing.h"
#include "image/TooJpeg.h"
#include "image/base64.h"
#include "image/grey_kernels.h"
#include "image/pixel_formats.h"

namespace {

constexpr const char* IMAGE_MEMBER = "image";
constexpr unsigned char JPEG_QUALITY = 90;

std::mutex jpgMutex;  // one picture at a time; guards what follows
unsigned char* m_jpgData = nullptr;
unsigned int m_jpgDataSize = 0;

// A picture beyond the buffer is cut short; so is one whose engine has gone.
void storeJpegByte(unsigned char byte) {
    if (m_jpgData != nullptr && m_jpgDataSize < JPEG_CAPACITY) m_jpgData[m_jpgDataSize++] = byte;
}

// As intake would refuse the frame, before anything of it is read.
void refuseImpossibleSize(std::int32_t width, std::int32_t height) {
    bufferBytes(LUMETRA_IMGFORMAT_YUYV, width, height, 0, false);
}

// A base64 grey JPEG of a YUYV frame; empty where the size allows no picture.
std::string encodePicture(const unsigned char* frame, std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 1) return {};
    refuseImpossibleSize(width, height);

    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::unique_ptr<unsigned char[]> grey(new unsigned char[pixels]);
    greyKernels().evenBytes(frame, grey.get(), pixels);

    const std::lock_guard lock(jpgMutex);
    m_jpgDataSize = 0;
    TooJpeg::writeJpeg(storeJpegByte, grey.get(), static_cast<unsigned short>(width),
                       static_cast<unsigned short>(height), false, JPEG_QUALITY, false, "Native");
    return base64_encode(m_jpgData, m_jpgDataSize);
}

std::string askHost(LUMETRA_HOSTTEXTFN hostText, const std::string& text) {
    const std::u16string converted = convertUTFFormat8toV<char, char16_t>(text);
    const char16_t* const reply = hostText(nullptr, converted.c_str());
    return reply == nullptr ? std::string() : convertUTFFormatVto8<char16_t, char>(reply);
}

// The host's answer to the descriptor; `picture` travels there with it, never back.
std::string exchangeWithPicture(LUMETRA_HOSTTEXTFN hostText, const char* descriptor,
                                const std::string* picture) {
    JsonDocument document = parseBoundedJson(descriptor);
    if (picture != nullptr && document.IsObject()) {
        JsonPool& pool = document.GetAllocator();
        document.AddMember(
            JsonValue(IMAGE_MEMBER, pool),
            JsonValue(picture->data(), static_cast<rapidjson::SizeType>(picture->size()), pool), pool);
    }
    JsonDocument reply = parseBoundedJson(askHost(hostText, serialize(document)).c_str());
    if (picture != nullptr && reply.IsObject()) reply.RemoveMember(IMAGE_MEMBER);
    return serialize(reply);
}

}  // namespace

void allocateJpegBuffer() {
    auto buffer = std::make_unique<unsigned char[]>(JPEG_CAPACITY);
    const std::lock_guard lock(jpgMutex);
    m_jpgData = buffer.release();
    m_jpgDataSize = 0;
}

void releaseJpegBuffer() {
    const std::lock_guard lock(jpgMutex);
    delete[] m_jpgData;
    m_jpgData = nullptr;
    m_jpgDataSize = 0;
}

int LumetraCoreExecutor::pushNativeImage(void* context, const unsigned char* data, int size,
                                         const char* descriptor, int frameIndex) {
    auto& engine = *static_cast<LumetraCoreExecutor*>(context);
    const auto hostText = reinterpret_cast<LUMETRA_HOSTTEXTFN>(engine.callbackFor(CB_HOSTTEXT).first);
    if (hostText == nullptr) return engine.pushImageData(data, size, descriptor, frameIndex);

    const ICfg cfg = engine.imageConfiguration();
    std::string answer;
    if (!cfg.forwardNativeImage) {
        answer = askHost(hostText, descriptor);
    } else if (cfg.format == LUMETRA_IMGFORMAT_YUYV) {
        const std::string picture = encodePicture(data, cfg.width, cfg.height);
        answer = exchangeWithPicture(hostText, descriptor, &picture);
    } else {
        answer = exchangeWithPicture(hostText, descriptor, nullptr);
    }
    return engine.pushImageData(data, size, answer.c_str(), frameIndex);
}
