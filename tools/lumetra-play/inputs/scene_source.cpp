// scene_source.cpp - the built-in moving scene: soft waves of colour, drifting discs and a row of bars; and
// the choice of it where the command line names no other source.
#include <algorithm>
#include <array>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr double FRAMES_PER_SECOND = 30;

using Colour = std::array<int, 3>;  // red, green, blue

constexpr Colour OTHERS[] = {{245, 245, 250}, {110, 222, 190}, {240, 98, 110}, {255, 214, 92},  // discs
                             {235, 235, 235}, {235, 220, 60},  {60, 210, 220}, {70, 200, 90},   // bars
                             {205, 80, 200},  {215, 70, 60},   {60, 80, 210},  {20, 20, 24}};
constexpr int WAVE_COLOURS = 256, DISCS = 4, BARS = std::size(OTHERS) - DISCS,
              COLOURS = WAVE_COLOURS + DISCS + BARS;

// Of the palette: the waves' colours, then the others.
Colour colourOf(int index) {
    if (index >= WAVE_COLOURS) return OTHERS[index - WAVE_COLOURS];
    constexpr Colour STOPS[] = {{18, 26, 66}, {40, 120, 150}, {236, 160, 120}};
    const int part = 2 * index / WAVE_COLOURS, share = 2 * index % WAVE_COLOURS;
    Colour colour = STOPS[part];
    for (std::size_t c = 0; c < 3; ++c) colour[c] += (STOPS[part + 1][c] - colour[c]) * share / WAVE_COLOURS;
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

// Endless; the same frame number always gives the same bytes.
class SceneSource : public FrameSource {
public:
    explicit SceneSource(const Picture& picture) {
        requireUsableSize(picture.width, picture.height, picture.format);
        m_picture = picture;
        m_facts.name = "the built-in scene";
        m_facts.width = picture.width;
        m_facts.height = picture.height;
        m_facts.framesPerSecond = FRAMES_PER_SECOND;
        m_stepX = std::max(1, 1400 / picture.width);
        m_stepY = std::max(1, 1100 / picture.height);
        for (int index = 0; index < COLOURS; ++index)
            for (const bool odd : {false, true})
                m_palette[odd][index] = encode(colourOf(index), picture.format, odd);
    }

    bool read(Bytes& frame, double& seconds) override {
        const auto [format, width, height] = m_picture;
        for (int k = 0; k < DISCS; ++k)
            m_discs[k] = {width * wave((9 - 2 * k) * m_frame + 310 * (3 - k)) / 255,
                          height * wave((7 - k) * m_frame + 170 * (3 - k)) / 300, height * (5 + k) / 48};
        frame.resize(m_picture.bytes());
        const std::size_t step = bytesPerPixel(format);
        std::uint8_t* out = frame.data();
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                out = std::copy_n(m_palette[x % 2][indexAt(x, y)].data(), step, out);
        seconds = m_frame++ / FRAMES_PER_SECOND;
        return true;
    }

private:
    struct Disc {
        int x, y, radius;
    };

    // Of the palette: a bar, the uppermost disc, or the sum of three waves.
    int indexAt(int x, int y) const {
        const auto [format, width, height] = m_picture;
        if (y >= height * 22 / 25) return WAVE_COLOURS + DISCS + (x + 2 * m_frame) % width * BARS / width;
        for (int k = 0; k < DISCS; ++k) {
            const int dx = x - m_discs[k].x, dy = y - m_discs[k].y;
            if (dx * dx + dy * dy < m_discs[k].radius * m_discs[k].radius) return WAVE_COLOURS + k;
        }
        const int right = x * m_stepX, down = y * m_stepY, falling = wave(down + 7 * m_frame);
        const int rolling = wave(right + 2 * falling - 5 * m_frame),
                  slanting = wave(right + down + 3 * m_frame);
        return (2 * rolling + falling + slanting) / 4;
    }

    std::array<std::uint8_t, 4> m_palette[2][COLOURS];  // pixels for even and odd columns
    Disc m_discs[DISCS] = {};
    int m_stepX, m_stepY;  // of the waves' angles, from a pixel to the next
    int m_frame = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openSource(const Options& options, const StopRequest& stop) {
    if (!options.inputs.empty()) return openMedia(options, stop);
    const auto size = options.size.value_or(Options::Size{640, 480});
    return std::make_unique<SceneSource>(
        Picture{options.format.value_or(LUMETRA_IMGFORMAT_RGB), size.width, size.height});
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
