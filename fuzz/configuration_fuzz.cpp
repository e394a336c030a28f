// configuration_fuzz.cpp - configuration texts, and a frame through whatever they configure.
#include <vector>

#include "fuzz/support/fuzzing.h"
#include "image/conversion.h"
#include "image/intake.h"

using namespace lumetra;

void runInput(std::string_view input) {
    Configuration configuration;
    configuration.configure(R"({"format":1,"conversionflags":7})");  // what a text may leave as it is

    const std::u16string text = textOf(input);
    const auto accepted = attempt(isValidText(text), [&] {
        return configuration.configure(convertUTFFormatVto8<char16_t, char>(text).c_str());
    });
    const ICfg cfg = *configuration.snapshot();
    require(accepted.value_or(false) == cfg.valid && cfg.valid == (cfg.width >= 1 && cfg.height >= 1),
            "a configuration is accepted if and only if its pictures have pixels");
    require(cfg.format <= LUMETRA_IMGFORMAT_GRAY8, "a format beyond the last is not stored");

    const auto levelZero = pictureBytes(cfg.format, cfg.width, cfg.height);
    const std::vector<unsigned char> frame(levelZero < MEMORY_LIMIT ? levelZero : 1, 0x5A);
    const PushedFrame pushed{frame.data(), static_cast<int>(frame.size()), "{}", 1};
    const auto buffers = std::make_shared<FrameBuffers>();
    ChunkStore chunks;
    MessageQueue messages;
    const auto taken = attempt(true, [&] { return takeIn(pushed, cfg, {*buffers, chunks, messages}); });
    if (!taken) {
        require(levelZero > MEMORY_LIMIT / 2, "a frame that memory has room for is taken");
        return;
    }
    require(*taken == cfg.valid, "a frame is taken if and only if the configuration was accepted");
    if (!*taken) return;

    const auto [id, chunk] = *chunks.copy().begin();
    checkLevels(*chunk);
    convertStored(chunks, id, cfg.conversionflags, configuration, [] {});
    checkLevels(*chunk);
}
