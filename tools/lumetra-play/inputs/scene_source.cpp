// scene_source.cpp - drawing the scene in RGB, then converting it.
#include "tools/lumetra-play/inputs/scene_source.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tools/lumetra-play/pixels/conversion.h"

namespace {

constexpr double FRAMES_PER_SECOND = 30;
constexpr float TURN = 2 * std::numbers::pi_v<float>;

using Colour = std::array<std::uint8_t, 3>;

struct Disc {
    float size, speedX, speedY, phase;  // parts of the picture's height; turns a frame; turns
    Colour colour;
};

constexpr Disc DISCS[] = {{0.17f, 0.0031f, 0.0047f, 0.10f, {255, 214, 92}},
                          {0.11f, 0.0053f, 0.0038f, 0.45f, {240, 98, 110}},
                          {0.08f, 0.0067f, 0.0071f, 0.70f, {110, 222, 190}},
                          {0.05f, 0.0089f, 0.0060f, 0.25f, {245, 245, 250}}};

constexpr Colour BARS[] = {{235, 235, 235}, {235, 220, 60}, {60, 210, 220}, {70, 200, 90},
                           {205, 80, 200},  {215, 70, 60},  {60, 80, 210},  {20, 20, 24}};

std::uint8_t mix(int low, int high, float share) {
    return static_cast<std::uint8_t>(
        std::lround(static_cast<float>(low) + share * static_cast<float>(high - low)));
}

}  // namespace

SceneSource::SceneSource(const Picture& picture) {
    requireUsableSize(picture.width, picture.height, picture.format);
    m_picture = picture;
    for (std::size_t k = 0; k < m_sine.size(); ++k)
        m_sine[k] = static_cast<std::uint8_t>(
            std::lround(127.5f + 127.5f * std::sin(TURN * static_cast<float>(k) / 1024)));
    constexpr Colour DEEP = {18, 26, 66}, MIDDLE = {40, 120, 150}, BRIGHT = {236, 160, 120};
    for (std::size_t k = 0; k < 256; ++k) {
        const bool upper = k >= 128;
        const float share = static_cast<float>(upper ? k - 128 : k) / 128;
        for (std::size_t c = 0; c < 3; ++c)
            m_palette[k][c] = mix(upper ? MIDDLE[c] : DEEP[c], upper ? BRIGHT[c] : MIDDLE[c], share);
    }
    m_fanSide = std::max(1, std::min(picture.width, picture.height) * 2 / 5);
    const float middle = static_cast<float>(m_fanSide - 1) / 2;
    for (int y = 0; y < m_fanSide; ++y)
        for (int x = 0; x < m_fanSide; ++x) {
            const float dx = static_cast<float>(x) - middle, dy = static_cast<float>(y) - middle;
            m_fanAngle.push_back(std::atan2(dy, dx) / TURN);
            m_fanRadius.push_back(std::sqrt(dx * dx + dy * dy) / std::max(middle, 1.0f));
        }
    m_rgb.resize(3 * picture.pixels(0));
}

SourceFacts SceneSource::facts() const {
    SourceFacts facts;
    facts.name = "the built-in scene";
    facts.width = m_picture.width;
    facts.height = m_picture.height;
    facts.framesPerSecond = FRAMES_PER_SECOND;
    return facts;
}

bool SceneSource::read(Bytes& frame, double& seconds) {
    drawWaves();
    drawFan();
    drawDiscs();
    drawBars();
    seconds = m_frame++ / FRAMES_PER_SECOND;
    frame =
        convertPixels({LUMETRA_IMGFORMAT_RGB, m_picture.width, m_picture.height}, m_rgb, m_picture.format);
    return true;
}

void SceneSource::blend(int x, int y, const Colour& colour, int share) {
    if (x < 0 || y < 0 || x >= m_picture.width || y >= m_picture.height) return;
    const auto at =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(m_picture.width) + static_cast<std::size_t>(x);
    for (std::size_t c = 0; c < 3; ++c) {
        std::uint8_t& sample = m_rgb[3 * at + c];
        sample = static_cast<std::uint8_t>(sample + ((colour[c] - sample) * share) / 256);
    }
}

// Three waves add up to the index of a colour; whole numbers only, since this touches every pixel.
void SceneSource::drawWaves() {
    const auto width = static_cast<unsigned>(m_picture.width);
    const auto height = static_cast<unsigned>(m_picture.height);
    const unsigned stepX = std::max(1u, 1400 / width), stepY = std::max(1u, 1100 / height);
    std::uint8_t* out = m_rgb.data();
    for (unsigned y = 0; y < height; ++y) {
        const unsigned down = m_sine[(y * stepY + 7 * m_frame) & 1023];
        for (unsigned x = 0; x < width; ++x, out += 3) {
            const unsigned across = m_sine[(x * stepX + 2 * down - 5 * m_frame) & 1023];
            const unsigned slant = m_sine[(x * stepX + y * stepY + 3 * m_frame) & 1023];
            const Colour& colour = m_palette[(2 * across + down + slant) / 4];
            out[0] = colour[0];
            out[1] = colour[1];
            out[2] = colour[2];
        }
    }
}

void SceneSource::drawDiscs() {
    const auto time = static_cast<float>(m_frame);
    const auto width = static_cast<float>(m_picture.width), height = static_cast<float>(m_picture.height);
    for (const Disc& disc : DISCS) {
        const float radius = disc.size * height;
        const float centreX = width / 2 + 0.42f * width * std::sin(TURN * (disc.speedX * time + disc.phase));
        const float centreY =
            height * 0.45f + 0.36f * height * std::cos(TURN * (disc.speedY * time + disc.phase));
        const auto low = [radius](float centre) { return static_cast<int>(centre - radius) - 1; };
        const auto high = [radius](float centre) { return static_cast<int>(centre + radius) + 1; };
        for (int y = low(centreY); y <= high(centreY); ++y)
            for (int x = low(centreX); x <= high(centreX); ++x) {
                const float inside =
                    radius - std::hypot(static_cast<float>(x) - centreX, static_cast<float>(y) - centreY);
                blend(x, y, disc.colour, static_cast<int>(std::clamp(inside, 0.0f, 1.0f) * 230));
            }
    }
}

// Fine lines that meet in the middle: the detail by which smoothing and shearing show.
void SceneSource::drawFan() {
    const float turned = static_cast<float>(m_frame) * 0.002f;
    const int left = m_picture.width * 11 / 20, top = m_picture.height / 8;
    std::size_t at = 0;
    for (int y = 0; y < m_fanSide; ++y)
        for (int x = 0; x < m_fanSide; ++x, ++at) {
            if (m_fanRadius[at] > 1) continue;
            const float line = (m_fanAngle[at] + turned) * 36;
            const bool light = line - std::floor(line) < 0.5f;
            const Colour colour = light ? Colour{248, 246, 238} : Colour{22, 22, 30};
            blend(left + x, top + y, colour, 236);
        }
}

void SceneSource::drawBars() {
    constexpr int COUNT = static_cast<int>(std::size(BARS));
    const int top = m_picture.height * 22 / 25;
    const int shift = static_cast<int>(m_frame * 2u % static_cast<unsigned>(m_picture.width));
    for (int y = top; y < m_picture.height; ++y)
        for (int x = 0; x < m_picture.width; ++x) {
            const int moved = (x + shift) % m_picture.width;
            blend(x, y, BARS[static_cast<long long>(moved) * COUNT / m_picture.width], 256);
        }
}
