// scene_source.h - the built-in moving scene: soft waves of colour, drifting discs and a row of bars.
// It is drawn in 256 colours, which the palette has in the format that is pushed. The same frame number
// always gives the same bytes. Endless. One thread.
#ifndef LUMETRA_PLAY_SCENE_SOURCE_H
#define LUMETRA_PLAY_SCENE_SOURCE_H

#include <array>
#include <cstdint>

#include "tools/lumetra-play/inputs/frame_source.h"

class SceneSource : public FrameSource {
public:
    explicit SceneSource(const Picture& picture);

    SourceFacts facts() const override;
    bool read(Bytes& frame, double& seconds) override;

private:
    void drawWaves();
    void drawDiscs();
    void drawBars();
    int sine(int angle) const { return m_sine[static_cast<unsigned>(angle) % m_sine.size()]; }
    std::uint8_t& at(int x, int y);

    std::array<std::uint8_t, 1024> m_sine;                     // one turn, 0 to 255
    std::array<std::array<std::uint8_t, 4>, 256> m_palette{};  // a pixel's bytes; of a packed one Y, U and V
    Bytes m_colours;                                           // of the palette, a pixel each
    int m_frame = 0;
};

#endif
