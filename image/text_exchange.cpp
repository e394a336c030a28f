// text_exchange.cpp - descriptors to the host and back, unchanged or as JSON with a picture.
#include "image/text_exchange.h"

#include <cstdint>

#include "LumetraCore/utf_conversion.h"
#include "base/json_reading.h"
#include "base/json_writing.h"
#include "base/process_wide.h"
#include "image/picture_encoder.h"
#include "image/pixel_formats.h"

namespace lumetra {

namespace {

// Throws if intake would refuse the size, before the frame is read.
void refuseImpossibleSize(std::int32_t width, std::int32_t height) {
    bufferBytes(LUMETRA_IMGFORMAT_YUYV, width, height, 0, false);
}

// Appends the picture as the object's last member; empty if the size is. It needs no escapes, and is too
// large to be copied through a document.
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

// The host's answer to a descriptor of JSON. A YUYV frame's picture is sent along and never comes back.
std::string exchangeJson(LUMETRA_HOSTTEXTFN hostText, const char* descriptor, const unsigned char* frame,
                         const ICfg& cfg) {
    const bool hasPicture = pixelFormat(cfg.format).hasPicture;
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

std::string exchangeText(LUMETRA_HOSTTEXTFN hostText, const char* descriptor, const unsigned char* frame,
                         const ICfg& cfg) {
    return cfg.forwardNativeImage ? exchangeJson(hostText, descriptor, frame, cfg)
                                  : askHost(hostText, convertUTFFormat8toV<char, char16_t>(descriptor));
}

}  // namespace lumetra
