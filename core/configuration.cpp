// configuration.cpp - the JSON document that configures the engine.
#include "core/configuration.h"

#include "base/json_reading.h"
#include "image/pixel_formats.h"

namespace lumetra {

// A missing key resets size, path and format; missing flags, and a format out of range, keep their value.
bool Configuration::configure(const char* json) {
    const JsonDocument document = parseJson(json);
    const JsonValue* size = findMember(&document, "imageCfg");

    const auto next = std::make_shared<ICfg>();
    next->width = readInteger(size, "width").value_or(0);
    next->height = readInteger(size, "height").value_or(0);
    next->valid = next->width >= 1 && next->height >= 1;
    next->mipMap = readTrue(&document, "mipMap");
    next->forwardNativeImage = readTrue(&document, "forwardNativeImage");
    next->writablepath = readString(&document, "writablepath").value_or(".");
    const auto flags = readInteger(&document, "conversionflags");
    const auto format = readClampedInteger(&document, "format").value_or(LUMETRA_IMGFORMAT_NONE);

    m_current.with([&](Snapshot& current) {
        next->conversionflags =
            flags ? static_cast<LUMETRA_CONVERSIONMODIFIER>(*flags) : current->conversionflags;
        next->format = format <= LAST_FORMAT ? static_cast<LUMETRA_IMGFORMATTYPE>(format) : current->format;
        current = next;
    });
    return next->valid;
}

void Configuration::invalidate() {
    const auto next = std::make_shared<ICfg>();
    m_current.with([&next](Snapshot& current) {
        *next = *current;
        next->valid = false;
        current = next;
    });
}

}  // namespace lumetra
