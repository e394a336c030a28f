// scene_source.cpp - drawing the scene, and choosing it where the command line names no other source.
#include "tools/lumetra-play/inputs/scene_source.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr double FRAMES_PER_SECOND = 30;

using Colour = std::array<int, 3>;  // red, green, blue

// The palette: the waves' colours, then these.
constexpr Colour OTHERS[] = {{255, 214, 92},  {240, 98, 110}, {110, 222, 190}, {245, 245, 250},  // discs
                             {235, 235, 235}, {235, 220, 60}, {60, 210, 220},  {70, 200, 90},    // bars
                             {205, 80, 200},  {215, 70, 60},  {60, 80, 210},   {20, 20, 24}};
constexpr int WAVES = 256 - static_cast<int>(std::size(OTHERS)), DISCS = WAVES, DISC_COUNT = 4,
              BARS = DISCS + DISC_COUNT, BAR_COUNT = 8;

Colour waveColour(int index) {
    constexpr Colour STOPS[] = {{18, 26, 66}, {40, 120, 150}, {236, 160, 120}, {236, 160, 120}};
    const int part = 2 * index / WAVES, share = 2 * index % WAVES;
    Colour colour{};
    for (std::size_t c = 0; c < 3; ++c)
        colour[c] = STOPS[part][c] + (STOPS[part + 1][c] - STOPS[part][c]) * share / WAVES;
    return colour;
}

std::array<std::uint8_t, 4> encode(const Colour& colour, LUMETRA_IMGFORMATTYPE format) {
    const auto [r, g, b] = colour;
    const auto bytes = [](auto... values) {
        return std::array<std::uint8_t, 4>{static_cast<std::uint8_t>(values)...};
    };
    switch (format) {
        case LUMETRA_IMGFORMAT_GRAY8:
            return bytes((299 * r + 587 * g + 114 * b + 500) / 1000);
        case LUMETRA_IMGFORMAT_YUYV:  // as cameras do: 16 to 235, about 128
            return bytes(16 + (66 * r + 129 * g + 25 * b + 128) / 256,
                         128 + (112 * b - 38 * r - 74 * g) / 256, 128 + (112 * r - 94 * g - 18 * b) / 256);
        case LUMETRA_IMGFORMAT_RGB:
            return bytes(r, g, b);
        default:
            return bytes(b, g, r, 255);
    }
}

}  // namespace

SceneSource::SceneSource(const Picture& picture) {
    requireUsableSize(picture.width, picture.height, picture.format);
    m_picture = picture;
    const double turn = 2 * std::numbers::pi / static_cast<double>(m_sine.size());
    for (std::size_t k = 0; k < m_sine.size(); ++k)
        m_sine[k] =
            static_cast<std::uint8_t>(std::lround(127.5 + 127.5 * std::sin(turn * static_cast<double>(k))));
    for (int k = 0; k < 256; ++k)
        m_palette[static_cast<std::size_t>(k)] =
            encode(k < WAVES ? waveColour(k) : OTHERS[k - WAVES], picture.format);
    m_colours.resize(picture.pixels(0));
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
    drawDiscs();
    drawBars();
    seconds = m_frame++ / FRAMES_PER_SECOND;
    frame.resize(m_picture.bytes());
    const bool packed = m_picture.format == LUMETRA_IMGFORMAT_YUYV;
    const std::size_t step = bytesPerPixel(m_picture.format);
    const auto width = static_cast<std::size_t>(m_picture.width);
    std::uint8_t* out = frame.data();
    for (std::size_t k = 0; k < m_colours.size(); ++k, out += step) {
        const auto& pixel = m_palette[m_colours[k]];
        std::copy_n(pixel.data(), step, out);
        if (packed && k % width % 2 == 1) out[1] = pixel[2];
    }
    return true;
}

std::uint8_t& SceneSource::at(int x, int y) {
    return m_colours[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_picture.width) +
                     static_cast<std::size_t>(x)];
}

// Three waves add up to the index of a colour; whole numbers only, since this touches every pixel.
void SceneSource::drawWaves() {
    const int stepX = std::max(1, 1400 / m_picture.width), stepY = std::max(1, 1100 / m_picture.height);
    for (int y = 0; y < m_picture.height; ++y) {
        const int down = sine(y * stepY + 7 * m_frame);
        for (int x = 0; x < m_picture.width; ++x) {
            const int across = sine(x * stepX + 2 * down - 5 * m_frame);
            const int slant = sine(x * stepX + y * stepY + 3 * m_frame);
            at(x, y) = static_cast<std::uint8_t>((2 * across + down + slant) * WAVES / 1024);
        }
    }
}

void SceneSource::drawDiscs() {
    for (int disc = 0; disc < DISC_COUNT; ++disc) {
        const int radius = m_picture.height * (8 - disc) / 48;
        const int middleX = m_picture.width * sine((3 + 2 * disc) * m_frame + 310 * disc) / 255;
        const int middleY = m_picture.height * sine((4 + disc) * m_frame + 170 * disc) / 300;
        for (int y = std::max(0, middleY - radius); y < std::min(m_picture.height, middleY + radius); ++y)
            for (int x = std::max(0, middleX - radius); x < std::min(m_picture.width, middleX + radius);
                 ++x) {
                const int dx = x - middleX, dy = y - middleY;
                if (dx * dx + dy * dy < radius * radius) at(x, y) = static_cast<std::uint8_t>(DISCS + disc);
            }
    }
}

void SceneSource::drawBars() {
    for (int y = m_picture.height * 22 / 25; y < m_picture.height; ++y)
        for (int x = 0; x < m_picture.width; ++x) {
            const long long moved = (x + 2 * m_frame) % m_picture.width;
            at(x, y) = static_cast<std::uint8_t>(BARS + moved * BAR_COUNT / m_picture.width);
        }
}

std::unique_ptr<FrameSource> openSource(const Options& options, const StopRequest& stop) {
    if (!options.inputs.empty()) return openMedia(options, stop);
    const auto size = options.size.value_or(Options::Size{640, 480});
    return std::make_unique<SceneSource>(
        Picture{options.format.value_or(LUMETRA_IMGFORMAT_RGB), size.width, size.height});
}
