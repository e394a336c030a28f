// level_dump.cpp - a file a level.
#include "image/level_dump.h"

#include "core/configuration.h"
#include "image/PGM_FUNCTIONS_internal.h"
#include "image/pixel_formats.h"

namespace lumetra {

std::string dumpName(const std::string& path, std::int32_t frameIndex, int level, const char* extension) {
    const std::string name = std::string(path.c_str()) + "/dbg_" + std::to_string(frameIndex) + "_lvl_" +
                             std::to_string(level) + "." + extension;
    return name.substr(0, 127);
}

void dumpLevels(const IChnk& chunk, LUMETRA_CONVERSIONMODIFIER flags, const std::string& writablePath) {
    const DumpAs form = pixelFormat(chunk.format).dumpAs;
    if (form == DumpAs::Nothing) return;

    const bool grey = form == DumpAs::Pgm;
    const auto write = grey ? write_pgm : write_ppm;
    std::int32_t width = chunk.width;
    std::int32_t height = chunk.height;
    const int levels = wants(flags, LUMETRA_CONVERT_PYRAMID) ? PYRAMID_LEVELS : 1;
    for (int k = 0; k < levels; ++k) {
        if (k > 0 && chunk.data->lvl[k] == nullptr) continue;
        if (k > 0) {
            width >>= 1;
            height >>= 1;
        }
        const std::string name = dumpName(writablePath, chunk.frameIndex, k, grey ? "pgm" : "ppm");
        write(name.c_str(), "debug", chunk.data->lvl[k], width, height);
    }
}

}  // namespace lumetra
