// scene_source.cpp - the built-in scene, and the choice of it where the command line names no other source.
#include "plugins/support/moving_scene.h"
#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

// Endless.
class SceneSource : public FrameSource {
public:
    explicit SceneSource(const Picture& picture) : m_scene(picture.format, picture.width, picture.height) {
        m_picture = picture;
        m_facts.name = "the built-in scene";
        m_facts.width = picture.width;
        m_facts.height = picture.height;
        m_facts.framesPerSecond = FRAMES_PER_SECOND;
    }

    bool read(Bytes& frame, double& seconds) override {
        m_scene.draw(m_number, frame);
        seconds = m_number++ / FRAMES_PER_SECOND;
        return true;
    }

private:
    static constexpr double FRAMES_PER_SECOND = 30;

    MovingScene m_scene;
    std::uint32_t m_number = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openSource(const Options& options, const StopRequest& stop) {
    if (!options.inputs.empty()) return openMedia(options, stop);
    const auto size = options.size.value_or(Options::Size{640, 480});
    const Picture picture{options.format.value_or(LUMETRA_IMGFORMAT_RGB), size.width, size.height};
    requireUsableSize(picture);
    return std::make_unique<SceneSource>(picture);
}

#ifndef LUMETRA_PLAY_MEDIA  // in place of the media sources where FFmpeg's libraries were missing
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
#endif
