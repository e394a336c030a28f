// configuration.cpp - the engine's own commands and the JSON document that configures it.
// The record is replaced as a whole under its lock; a frame or conversion works on one copy of it.
#include "core/LumetraCoreExecutor.h"
#include "core/json_reading.h"

namespace {

constexpr std::int32_t MAX_FORMAT = LUMETRA_IMGFORMAT_GRAY8;

}  // namespace

int LumetraCoreExecutor::command(LUMETRA_CMDTYPE type, const char* text) {
    logViaCallback("Executing Command!");
    switch (type) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            return 1;
        case LUMETRA_CMD_INVALIDATE:
            invalidateConfiguration();
            return 1;
        case LUMETRA_CMD_CONFIGURE:
            return configure(text);
        default:
            logViaCallback("Warning: Particular command not available!");
            return 0;
    }
}

// What a key's absence means differs from key to key, on purpose: sizes, path and format fall back, the
// flags and a format out of range keep what was there.
bool LumetraCoreExecutor::configure(const char* json) {
    const JsonDocument document = parseJson(json);
    const JsonValue* size = findMember(&document, "imageCfg");

    ICfg next;
    next.width = readInteger(size, "width").value_or(0);
    next.height = readInteger(size, "height").value_or(0);
    next.valid = next.width >= 1 && next.height >= 1;
    next.mipMap = readTrue(&document, "mipMap");
    next.forwardNativeImage = readTrue(&document, "forwardNativeImage");
    next.writablepath = readString(&document, "writablepath").value_or(".");
    const auto flags = readInteger(&document, "conversionflags");
    const auto format = readInteger(&document, "format").value_or(LUMETRA_IMGFORMAT_NONE);

    const std::lock_guard lock(m_cfgMutex);
    next.conversionflags = flags ? static_cast<LUMETRA_CONVERSIONMODIFIER>(*flags) : m_imgCfg.conversionflags;
    next.format = format <= MAX_FORMAT ? static_cast<LUMETRA_IMGFORMATTYPE>(format) : m_imgCfg.format;
    m_imgCfg = std::move(next);
    return m_imgCfg.valid;
}

bool LumetraCoreExecutor::invalidateConfiguration() {
    logViaCallback("Invalidating Core Configuration!");
    const std::lock_guard lock(m_cfgMutex);
    m_imgCfg.valid = false;
    return true;
}

LumetraCoreExecutor::ICfg LumetraCoreExecutor::imageConfiguration() const {
    const std::lock_guard lock(m_cfgMutex);
    return m_imgCfg;
}
