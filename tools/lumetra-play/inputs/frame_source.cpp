// frame_source.cpp - choosing the source by what the command line names.
#include "tools/lumetra-play/inputs/frame_source.h"

#include "tools/lumetra-play/inputs/scene_source.h"
#include "tools/lumetra-play/run/play_error.h"

std::unique_ptr<FrameSource> openSource(const Options& options, const StopRequest& stop) {
    if (!options.inputs.empty()) return openMedia(options, stop);
    if (!options.raw.empty() || !options.inputFormat.empty())
        throw PlayError("--raw and --input-format describe a source: name one, or - for standard input");
    const auto size = options.size.value_or(Options::Size{640, 480});
    return std::make_unique<SceneSource>(
        Picture{options.format.value_or(LUMETRA_IMGFORMAT_RGB), size.width, size.height});
}
