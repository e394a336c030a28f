#include "tests/support/pictures.h"

#include <cmath>
#include <numbers>
#include <ostream>
#include <stdexcept>

#include "image/jpeg/TooJpeg.h"

namespace pictures {

namespace {

template <class Sample>
Source sourceOf(Mode mode, int width, int height, Sample sample) {
    Source source{mode, width, height, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < static_cast<int>(channelsOf(mode)); ++c)
                source.pixels.push_back(static_cast<std::uint8_t>(sample(y, x, c)));
    return source;
}

}  // namespace

thread_local Bytes* collected = nullptr;

std::ostream& operator<<(std::ostream& out, const Source& source) {
    const char* const names[] = {"grey ", "colour ", "downsampled "};
    return out << names[static_cast<int>(source.mode)] << source.width << " x " << source.height;
}

double cosine(int frequency, int place) {
    return std::cos((2 * (place % 8) + 1) * frequency * std::numbers::pi / 16);
}

Source noise(Mode mode, int width, int height, unsigned seed) {
    const Bytes bytes = randomBytes(static_cast<std::size_t>(width * height) * 3, seed);
    return sourceOf(mode, width, height,
                    [&, i = std::size_t{0}](int, int, int) mutable { return bytes[i++]; });
}

Source ramp(Mode mode, int width, int height) {
    return sourceOf(mode, width, height, [=](int y, int x, int c) {
        const int across = std::min(40 + 2 * x, 255), down = std::min(20 + 2 * y, 255);
        return c == 0 ? across : c == 1 ? down : 255 - (across + down) / 2;
    });
}

Source singlePatterns(Mode mode) {
    return sourceOf(mode, 64, 64, [](int y, int x, int) {
        return static_cast<int>(std::lround(128 + 100 * cosine(y / 8, y) * cosine(x / 8, x)));
    });
}

Source saturatedPatterns(Mode mode) {
    return sourceOf(mode, 128, 64, [](int y, int x, int c) {
        const bool positive = cosine(y / 8, y) * cosine(x / 16, x) > 0;
        return positive == ((x / 8 + c) % 2 == 0) ? 255 : 0;
    });
}

void collect(unsigned char byte) {
    collected->push_back(byte);
}

Bytes encode(const Source& source, int quality, const char* comment, const std::uint8_t* pixels) {
    Bytes file;
    collected = &file;
    if (pixels == nullptr) pixels = source.pixels.data();
    if (!TooJpeg::writeJpeg(collect, pixels, static_cast<unsigned short>(source.width),
                            static_cast<unsigned short>(source.height), source.mode != Mode::Grey,
                            static_cast<unsigned char>(quality), source.mode == Mode::Downsampled, comment))
        throw std::runtime_error("the encoder refuses a picture");
    return file;
}

void addFilesToDigest(std::uint64_t& digest, Mode mode) {
    for (const int quality : {1, 20, 50, 75, 90, 100})
        for (const Source& source : {noise(mode, 333, 247, 11), noise(mode, 1, 3, 12), ramp(mode, 250, 190),
                                     singlePatterns(mode), saturatedPatterns(mode)})
            addToDigest(digest, encode(source, quality, "Native"));
}

}  // namespace pictures
