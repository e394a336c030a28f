// moving_scene.cpp - a function from a place and a frame's number to a colour.
#include "support/moving_scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/pixel_format.h"

namespace {

using Colour = std::array<int, 3>;  // red, green, blue

constexpr Colour OTHERS[] = {{245, 245, 250}, {110, 222, 190}, {240, 98, 110}, {255, 214, 92},  // discs
                             {235, 235, 235}, {235, 220, 60},  {60, 210, 220}, {70, 200, 90},   // bars
                             {205, 80, 200},  {215, 70, 60},   {60, 80, 210},  {20, 20, 24}};

// Of a wave that is `high` of `levels`.
Colour waveColour(int high, int levels) {
    constexpr Colour STOPS[] = {{18, 26, 66}, {40, 120, 150}, {236, 160, 120}};
    const int part = 2 * high / levels, share = 2 * high % levels;
    Colour colour = STOPS[part];
    for (std::size_t c = 0; c < 3; ++c) colour[c] += (STOPS[part + 1][c] - colour[c]) * share / levels;
    return colour;
}

// A pixel's bytes, as many as the format has; packed ones hold U in even columns and V in odd ones.
std::array<std::uint8_t, 4> encode(const Colour& colour, LUMETRA_IMGFORMATTYPE format, bool odd) {
    const auto [r, g, b] = colour;
    const auto bytes = [](auto... values) {
        return std::array<std::uint8_t, 4>{static_cast<std::uint8_t>(values)...};
    };
    switch (format) {
        case LUMETRA_IMGFORMAT_GRAY8:
            return bytes((299 * r + 587 * g + 114 * b + 500) / 1000);
        case LUMETRA_IMGFORMAT_YUYV:  // as cameras do: 16 to 235, about 128
            return bytes(16 + (66 * r + 129 * g + 25 * b + 128) / 256,
                         128 + (odd ? 112 * r - 94 * g - 18 * b : 112 * b - 38 * r - 74 * g) / 256);
        case LUMETRA_IMGFORMAT_RGB:
            return bytes(r, g, b);
        default:
            return bytes(b, g, r, 255);
    }
}

// 0 to 255 and back in a turn of 1024: two parabolas, which look like a sine and cost every pixel less.
int wave(int angle) {
    const int half = angle & 511, bow = half * (512 - half) >> 9;
    return (angle & 512) == 0 ? 127 + bow : 128 - bow;
}

}  // namespace

MovingScene::MovingScene(LUMETRA_IMGFORMATTYPE format, std::int32_t width, std::int32_t height)
    : m_format(format),
      m_width(width),
      m_height(height),
      m_stepX(std::max(1, 1400 / width)),
      m_stepY(std::max(1, 1100 / height)),
      m_row(static_cast<std::size_t>(width)) {
    static_assert(std::size(OTHERS) == DISCS + BARS);
    for (int index = 0; index < COLOURS; ++index)
        for (const bool odd : {false, true})
            m_palette[odd][index] =
                encode(index < WAVE_COLOURS ? waveColour(index, WAVE_COLOURS) : OTHERS[index - WAVE_COLOURS],
                       format, odd);
}

void MovingScene::draw(std::uint32_t number, std::vector<std::uint8_t>& frame) {
    constexpr std::size_t PIXEL = sizeof m_palette[0][0];
    const int n = static_cast<int>(number % (1u << 20));  // the waves go on, and no product overflows
    const std::size_t step = bytesPerPixel(m_format),
                      bytes = step * m_row.size() * static_cast<std::size_t>(m_height);
    frame.resize(bytes + PIXEL);  // each pixel is copied whole, and the next one over what is too much
    std::uint8_t* out = frame.data();
    for (int y = 0; y < m_height; ++y) {
        indexRow(y, n);
        for (std::size_t x = 0; x < m_row.size(); ++x, out += step)
            std::memcpy(out, m_palette[x % 2][m_row[x]].data(), PIXEL);
    }
    frame.resize(bytes);
}

// Of the palette: the bars, or the sum of three waves with the discs upon it.
void MovingScene::indexRow(int y, int n) {
    const auto index = [](int value) { return static_cast<std::uint16_t>(value); };
    if (y >= m_height * 22 / 25) {
        for (int x = 0; x < m_width; ++x)
            m_row[static_cast<std::size_t>(x)] =
                index(WAVE_COLOURS + DISCS + (x + 2 * n) % m_width * BARS / m_width);
        return;
    }
    const int down = y * m_stepY, falling = wave(down + 7 * n);
    for (int x = 0; x < m_width; ++x) {
        const int right = x * m_stepX;
        const int rolling = wave(right + 2 * falling - 5 * n), slanting = wave(right + down + 3 * n);
        m_row[static_cast<std::size_t>(x)] = index((2 * rolling + falling + slanting) / 4);
    }
    for (int k = DISCS - 1; k >= 0; --k) {
        const int middleX = m_width * wave((9 - 2 * k) * n + 310 * (3 - k)) / 255;
        const int middleY = m_height * wave((7 - k) * n + 170 * (3 - k)) / 300;
        const int radius = m_height * (5 + k) / 48, dy = y - middleY;
        if (dy * dy >= radius * radius) continue;
        const int half = static_cast<int>(std::sqrt(radius * radius - dy * dy));
        std::fill(m_row.begin() + std::clamp(middleX - half, 0, m_width),
                  m_row.begin() + std::clamp(middleX + half, 0, m_width), index(WAVE_COLOURS + k));
    }
}
