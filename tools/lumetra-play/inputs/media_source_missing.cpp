// media_source_missing.cpp - in place of the media sources where FFmpeg's libraries were missing when this
// was built.
#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"

std::unique_ptr<FrameSource> openMedia(const Options& options, const StopRequest&) {
    throw PlayError(
        "cannot play " + options.inputs[0] +
        ": this program was built without FFmpeg's libraries and plays the built-in scene only; "
        "install libavformat-dev, libavcodec-dev, libavdevice-dev and libswscale-dev and build it again");
}

bool opensFiles(const std::string&) {
    return true;
}

std::string inputLibraries() {
    return "no FFmpeg: plays the built-in scene only";
}
