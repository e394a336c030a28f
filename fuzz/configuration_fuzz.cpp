// configuration_fuzz.cpp - configuration texts, and a frame through whatever they configure.
#include <vector>

#include "fuzz/support/fuzzing.h"

using namespace lumetra;

void runInput(std::string_view input) {
    LumetraCoreExecutor& engine = bareEngine();
    engine.configure(R"({"format":1,"conversionflags":7})");  // what a text may leave as it is

    const std::u16string text = textOf(input);
    const auto accepted = attempt(
        isValidText(text), [&] { return LumetraCore_command(0, LUMETRA_CMD_CONFIGURE, text.c_str()); });
    const auto cfg = EngineProbe::configuration(engine);
    require(accepted.value_or(0) == cfg.valid && cfg.valid == (cfg.width >= 1 && cfg.height >= 1),
            "a configuration is accepted if and only if its pictures have pixels");
    require(cfg.format <= LUMETRA_IMGFORMAT_GRAY8, "a format beyond the last is not stored");

    const auto levelZero = pictureBytes(cfg.format, cfg.width, cfg.height);
    const std::vector<unsigned char> frame(levelZero < MEMORY_LIMIT ? levelZero : 1, 0x5A);
    const auto taken = attempt(true, [&] {
        return LumetraCore_pushImageData(frame.data(), static_cast<int>(frame.size()), u"{}", 1);
    });
    if (!taken) {
        require(levelZero > MEMORY_LIMIT / 2, "a frame that memory has room for is taken");
        return;
    }
    require(*taken == cfg.valid, "a frame is taken if and only if the configuration was accepted");
    if (*taken == 0) return;

    const auto [id, chunk] = *EngineProbe::chunks(engine).rbegin();
    checkLevels(*chunk);
    EngineProbe::convert(engine, id, cfg.conversionflags);
    checkLevels(*chunk);
}
