// canvas.h - a picture in RGB on which other pictures and small labels are put. One thread.
#ifndef LUMETRA_PLAY_CANVAS_H
#define LUMETRA_PLAY_CANVAS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/lumetra-play/pixels/picture.h"

using RgbColour = std::array<std::uint8_t, 3>;

/// 3 bytes a pixel.
struct RgbImage {
    int width = 0, height = 0;
    Bytes pixels;
};

/// Whole-numbered scaling by nearest neighbour: first enlarged, then thinned out.
struct Scale {
    int enlarge = 1, thinOut = 1;

    int of(int length) const { return length * enlarge / thinOut; }
};

class Canvas {
public:
    Canvas(int width, int height, const RgbColour& background);

    /// What lies beyond the edges is left out.
    void draw(int left, int top, const RgbImage& image, const Scale& scale);
    /// Capital letters, digits and a few signs, 3x5 dots each of `dot` pixels; others are left blank.
    void write(int left, int top, std::string_view text, int dot, const RgbColour& colour);
    static int textWidth(std::string_view text, int dot);
    static int textHeight(int dot) { return 5 * dot; }

    const RgbImage& image() const { return m_image; }

private:
    void put(int x, int y, const std::uint8_t* colour);

    RgbImage m_image;
};

/// @throws PlayError if the file cannot be written
void writePng(const std::string& path, const RgbImage& image);

#endif
