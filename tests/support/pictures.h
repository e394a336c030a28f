// pictures.h - pictures that are hard on the JPEG encoder, the files it makes of them, and digests.
#ifndef LUMETRA_TESTS_SUPPORT_PICTURES_H
#define LUMETRA_TESTS_SUPPORT_PICTURES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "tests/support/frames.h"

namespace pictures {

enum class Mode { Grey, Colour, Downsampled };
inline constexpr Mode MODES[] = {Mode::Grey, Mode::Colour, Mode::Downsampled};

inline std::size_t channelsOf(Mode mode) {
    return mode == Mode::Grey ? 1 : 3;
}

struct Source {
    Mode mode;
    int width, height;
    Bytes pixels;

    double at(int row, int column, std::size_t channel) const {  // the edge repeats
        const auto y = static_cast<std::size_t>(std::min(row, height - 1));
        const auto x = static_cast<std::size_t>(std::min(column, width - 1));
        return pixels[(y * static_cast<std::size_t>(width) + x) * channelsOf(mode) + channel];
    }
};

std::ostream& operator<<(std::ostream& out, const Source& source);

double cosine(int frequency, int place);

Source noise(Mode mode, int width, int height, unsigned seed);
Source ramp(Mode mode, int width, int height);
/// Each block is one pattern of the DCT, weakly and nothing else: long runs of zeros.
Source singlePatterns(Mode mode);
/// The signs of each pattern in black and white, and again negated: the greatest coefficients there are.
Source saturatedPatterns(Mode mode);

/// A sink, and where it writes on this thread.
extern thread_local Bytes* collected;
void collect(unsigned char byte);

/// Of the source's own pixels, or of these.
/// @throws std::runtime_error if the encoder refuses
Bytes encode(const Source& source, int quality = 90, const char* comment = nullptr,
             const std::uint8_t* pixels = nullptr);

inline constexpr std::uint64_t EMPTY_DIGEST = 0xCBF29CE484222325u;

template <class Values>
void addToDigest(std::uint64_t& digest, const Values& values) {  // FNV-1a, 64 bits, a value at a time
    for (const auto value : values) digest = (digest ^ value) * 0x100000001B3u;
}

/// Of every kind of picture in this mode, at six qualities, in one digest.
void addFilesToDigest(std::uint64_t& digest, Mode mode);

}  // namespace pictures

#endif
