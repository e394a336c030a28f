// module_push.cpp - frames that modules push. Runs on the module's thread.
// Where the host takes part in texts it sees the frame's descriptor first, with a picture of a YUYV frame if
// it wants one, and what it answers travels with the frame.
#include <string>

#include "LumetraCore/utf_conversion.h"
#include "base/json_reading.h"
#include "base/json_writing.h"
#include "base/process_wide.h"
#include "core/LumetraCoreExecutor.h"
#include "image/picture_encoder.h"
#include "image/pixel_formats.h"
#include "image/push_gate.h"

using namespace lumetra;

namespace {

// As intake would refuse the frame, before anything of it is read.
void refuseImpossibleSize(std::int32_t width, std::int32_t height) {
    bufferBytes(LUMETRA_IMGFORMAT_YUYV, width, height, 0, false);
}

// Adds the picture to an object's text as its last member, where the size allows one an empty one. It needs
// no escapes, and is too large to take the way through a document.
void addPicture(std::u16string& object, const unsigned char* frame, std::int32_t width, std::int32_t height) {
    const bool isEmpty = object.size() == 2;
    object.pop_back();
    object += isEmpty ? u"\"image\":\"" : u",\"image\":\"";
    if (frame != nullptr) processWide<PictureEncoder>().appendPicture(object, frame, width, height);
    object += u"\"}";
}

std::string askHost(LUMETRA_HOSTTEXTFN hostText, const std::u16string& text) {
    const char16_t* const reply = hostText(nullptr, text.c_str());
    return reply == nullptr ? std::string() : convertUTFFormatVto8<char16_t, char>(reply);
}

// The host's answer to a descriptor of JSON. The picture of a YUYV frame travels there with it, never back.
std::string exchangeJson(LUMETRA_HOSTTEXTFN hostText, const char* descriptor, const unsigned char* frame,
                         const LumetraCoreExecutor::ICfg& cfg) {
    const bool hasPicture = cfg.format == LUMETRA_IMGFORMAT_YUYV;
    if (hasPicture && cfg.width >= 1 && cfg.height >= 1) refuseImpossibleSize(cfg.width, cfg.height);
    const JsonDocument document = parseBoundedJson(descriptor);
    std::u16string text = convertUTFFormat8toV<char, char16_t>(serialize(document, descriptor));
    if (hasPicture && text.starts_with(u'{')) addPicture(text, frame, cfg.width, cfg.height);

    const std::string answer = askHost(hostText, text);
    JsonDocument reply = parseBoundedJson(answer.c_str());
    if (hasPicture && reply.IsObject()) reply.RemoveMember("image");
    return serialize(reply, answer);
}

}  // namespace

int LumetraCoreExecutor::pushNativeImage(void* context, const unsigned char* data, int size,
                                         const char* descriptor, int frameIndex) {
    if (descriptor == nullptr) descriptor = "";
    const PushGate::Visit visit(processWide<PushGate>(), context);
    if (!visit) return 0;

    auto& engine = *static_cast<LumetraCoreExecutor*>(context);
    const auto hostText = reinterpret_cast<LUMETRA_HOSTTEXTFN>(engine.m_callbacks.find(CB_HOSTTEXT).first);
    if (hostText == nullptr) return engine.pushImageData(data, size, descriptor, frameIndex);

    const auto cfg = engine.m_imgCfg.snapshot();
    const std::string answer = cfg->forwardNativeImage
                                   ? exchangeJson(hostText, descriptor, data, *cfg)
                                   : askHost(hostText, convertUTFFormat8toV<char, char16_t>(descriptor));
    if (!visit.isStillOpen()) return 0;
    return engine.pushImageData(data, size, answer.c_str(), frameIndex);
}
