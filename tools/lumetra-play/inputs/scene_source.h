// scene_source.h - the built-in moving scene: soft waves of colour, drifting discs, a turning fan of fine
// lines and a row of bars. The same frame number always gives the same bytes. Endless. One thread.
#ifndef LUMETRA_PLAY_SCENE_SOURCE_H
#define LUMETRA_PLAY_SCENE_SOURCE_H

#include <array>
#include <vector>

#include "tools/lumetra-play/inputs/frame_source.h"

class SceneSource : public FrameSource {
public:
    explicit SceneSource(const Picture& picture);

    SourceFacts facts() const override;
    bool read(Bytes& frame, double& seconds) override;

private:
    void drawWaves();
    void drawDiscs();
    void drawFan();
    void drawBars();
    void blend(int x, int y, const std::array<std::uint8_t, 3>& colour, int share);  // share of 256

    std::array<std::uint8_t, 1024> m_sine;  // one period, 0 to 255
    std::array<std::array<std::uint8_t, 3>, 256> m_palette;
    std::vector<float> m_fanAngle, m_fanRadius;  // of the square in which the fan turns
    int m_fanSide = 0;
    Bytes m_rgb;
    unsigned m_frame = 0;
};

#endif
