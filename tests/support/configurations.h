// configurations.h - how frames arrive, as the text that configures an engine and as what it is then.
#ifndef LUMETRA_TESTS_SUPPORT_CONFIGURATIONS_H
#define LUMETRA_TESTS_SUPPORT_CONFIGURATIONS_H

#include <cstdint>
#include <string>

#include "core/configuration.h"

/// A valid configuration of this size.
inline lumetra::ICfg configurationOf(int width, int height, int format) {
    lumetra::ICfg cfg;
    cfg.valid = width >= 1 && height >= 1;
    cfg.width = width;
    cfg.height = height;
    cfg.format = static_cast<LUMETRA_IMGFORMATTYPE>(format);
    return cfg;
}

/// Its text; `rest` is what else it says, with a comma before it.
inline std::string configurationText(int width, int height, int format, const std::string& rest = "") {
    return R"({"imageCfg":{"width":)" + std::to_string(width) + R"(,"height":)" + std::to_string(height) +
           R"(},"format":)" + std::to_string(format) + rest + "}";
}

#endif
