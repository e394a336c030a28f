// texture_fuzz.cpp - descriptions of the host's texture.
#include "fuzz/support/fuzzing.h"

namespace {

std::u16string lastMessage, messageBefore;

void keepMessage(std::int32_t, const char16_t* text) {
    messageBefore = std::exchange(lastMessage, text);
}

}  // namespace

void runInput(std::string_view input) {
    LumetraCoreExecutor& engine = processEngine();
    LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(&keepMessage), nullptr);
    const auto& record = EngineProbe::texture(engine).record;
    int texture = 0;
    LumetraCore_setNativeTexturePointer(nullptr, u"");
    require(record.buffer == nullptr && !EngineProbe::texture(engine).isRendering,
            "without texture nothing is kept");

    const std::u16string text = textOf(input);
    const auto result = attempt(isValidText(text),
                                [&] { return LumetraCore_setNativeTexturePointer(&texture, text.c_str()); });
    require(result.value_or(1) == 1, "a description is always taken");
    require(record.format <= LUMETRA_IMGFORMAT_GRAY8, "a format beyond the last is not stored");
    require(EngineProbe::texture(engine).isRendering == (record.buffer != nullptr),
            "rendering has its buffer");
    if (record.buffer == nullptr) return;

    require(messageBefore == text, "the description is logged as it came");
    const auto texels = static_cast<std::size_t>(std::int64_t{record.width} * record.height);
    require(__asan_region_is_poisoned(record.buffer.get(), 4 * texels) == nullptr, "a texel has four bytes");
}
