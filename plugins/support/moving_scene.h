// moving_scene.h - frames for machines without a camera: soft waves of colour, drifting discs and a row of
// bars. One thread.
#ifndef LUMETRA_PLUGINS_SUPPORT_MOVING_SCENE_H
#define LUMETRA_PLUGINS_SUPPORT_MOVING_SCENE_H

#include <array>
#include <cstdint>
#include <vector>

#include <LumetraCore/LumetraTypes.h>

class MovingScene {
public:
    /// @param format  one with whole pixels
    /// @param width, height  pixels, 1 to 32768
    MovingScene(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height);

    /// Replaces `frame` by its rows, without padding; the same number always gives the same bytes.
    void draw(std::uint32_t number, std::vector<std::uint8_t>& frame);

private:
    static constexpr int WAVE_COLOURS = 256, DISCS = 4, BARS = 8, COLOURS = WAVE_COLOURS + DISCS + BARS;

    void indexRow(int y, int number);

    const LUMETRA_IMGFORMATTYPE m_format;
    const int m_width, m_height;
    const int m_stepX, m_stepY;                         // of the waves' angles, from a pixel to the next
    std::array<std::uint8_t, 4> m_palette[2][COLOURS];  // pixels for even and odd columns
    std::vector<std::uint16_t> m_row;                   // indices of the palette
};

#endif
