// native_texture.cpp - the record of the host's texture. Nothing in the engine draws into it.
#include <new>

#include "base/json_reading.h"
#include "core/LumetraCoreExecutor.h"
#include "image/pixel_formats.h"

using namespace lumetra;

namespace {

// Four bytes a texel. A product below 0 or beyond 31 bits is refused as if memory were short.
std::size_t textureBytes(std::int32_t width, std::int32_t height) {
    std::int32_t bytes = 0;
    if (__builtin_mul_overflow(width, height, &bytes) || __builtin_mul_overflow(bytes, 4, &bytes) ||
        bytes < 0)
        throw std::bad_alloc();
    return static_cast<std::size_t>(bytes);
}

}  // namespace

int LumetraCoreExecutor::setNativeTexturePointer(void* texture, const char* json) {
    const std::lock_guard lock(m_texCfg.mutex);
    if (texture == nullptr) {
        m_texCfg.buffer.reset();
        m_nativeTexture = nullptr;
        m_nativeRendering = false;
        logViaCallback("Native Rendering disabled!");
        return 1;
    }

    const JsonDocument description = parseJson(json);
    logViaCallback(json);
    m_texCfg.width = readInteger(&description, "width").value_or(0);
    m_texCfg.height = readInteger(&description, "height").value_or(0);
    m_texCfg.mipMap = readTrue(&description, "mipMap");
    const std::int32_t format = readClampedInteger(&description, "format").value_or(LUMETRA_IMGFORMAT_NONE);
    if (format > LAST_FORMAT) return 1;

    m_texCfg.format = static_cast<LUMETRA_IMGFORMATTYPE>(format);
    m_nativeTexture = texture;
    m_texCfg.buffer.reset();
    m_texCfg.buffer.reset(new unsigned char[textureBytes(m_texCfg.width, m_texCfg.height)]);
    m_nativeRendering = true;
    logViaCallback("Native Rendering enabled!");
    return 1;
}
