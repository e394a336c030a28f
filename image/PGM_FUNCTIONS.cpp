// PGM_FUNCTIONS.cpp - raw Netpbm files with one byte a sample.
// A reader closes its file when it returns an image and leaves it open when it refuses one: kept
// for compatibility with hosts that count descriptors.
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "image/PGM_FUNCTIONS_internal.h"

namespace {

constexpr int MISSING_SAMPLE = EOF;
constexpr std::int64_t SPARE_BYTES_PPM = 10;

// The product modulo 2^32, without undefined overflow.
std::int32_t wrappedProduct(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

const char* textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

int writeImage(const char* magic, const char* path, const char* comment, const unsigned char* samples,
               int width, int height, int samplesPerPixel) {
    std::FILE* file = std::fopen(textOrEmpty(path), "wb");
    if (file == nullptr) {
        std::printf("PGM_FUNCTIONS error: Couldn't open %s for writing\n", textOrEmpty(path));
        return -1;
    }
    std::fprintf(file, "%s\n#%s\n%d %d\n255\n", magic, textOrEmpty(comment), width, height);
    const std::int32_t count = wrappedProduct(wrappedProduct(width, height), samplesPerPixel);
    if (count > 0 && samples != nullptr) std::fwrite(samples, 1, static_cast<std::size_t>(count), file);
    std::fclose(file);
    return 0;
}

enum class Parsed { Number, None, TooLarge };

// The next number of a header line, as "%d" reads one; `text` moves behind it. `value` is unchanged if there
// is none, or one of more than 32 bits.
Parsed parseInteger(const char*& text, std::int32_t& value) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text, &end, 10);
    if (end == text) return Parsed::None;
    if (errno == ERANGE || number < INT32_MIN || number > INT32_MAX) return Parsed::TooLarge;
    text = end;
    value = static_cast<std::int32_t>(number);
    return Parsed::Number;
}

using HeaderLine = std::array<char, 256>;

bool readLine(std::FILE* file, HeaderLine& line) {
    return std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr;
}

// Reads magic, size and maximum; nothing if the magic differs, the file ends there or a number is too large.
// A size that does not parse keeps the caller's value; a maximum that does not is 255.
std::optional<std::int32_t> readHeader(std::FILE* file, char kind, int* width, int* height) {
    if (std::fgetc(file) != 'P' || std::fgetc(file) != kind || std::fgetc(file) != '\n') return std::nullopt;

    HeaderLine line;
    do {
        if (!readLine(file, line)) return std::nullopt;
    } while (line[0] == '#' || line[0] == '\n' || line[0] == '\r');

    const char* text = line.data();
    Parsed size = parseInteger(text, *width);
    if (size == Parsed::Number) size = parseInteger(text, *height);
    if (size == Parsed::TooLarge || !readLine(file, line)) return std::nullopt;

    std::int32_t maximum = 255;
    text = line.data();
    if (parseInteger(text, maximum) == Parsed::TooLarge) return std::nullopt;
    return maximum;
}

// Scales a sample to 8 bits; a maximum of -1 would divide by 0.
unsigned char rescale(int sample, std::int32_t maximum) {
    if (maximum == 255) return static_cast<unsigned char>(sample);
    if (maximum == -1) return 0;
    return static_cast<unsigned char>(std::int64_t{sample} * 256 / (std::int64_t{maximum} + 1));
}

void readSamples(std::FILE* file, unsigned char* samples, std::size_t count, std::int32_t maximum) {
    const std::size_t present = std::fread(samples, 1, count, file);
    if (maximum != 255) {
        std::array<unsigned char, 256> rescaled;
        for (int sample = 0; sample < 256; ++sample)
            rescaled[static_cast<std::size_t>(sample)] = rescale(sample, maximum);
        std::transform(samples, samples + present, samples,
                       [&rescaled](unsigned char sample) { return rescaled[sample]; });
    }
    std::memset(samples + present, rescale(MISSING_SAMPLE, maximum), count - present);
}

struct SampleCount {
    std::int64_t bytes;  // to allocate; below 0 if refused
    std::int32_t read;
};

SampleCount greySamples(int width, int height) {
    return {std::int64_t{width} * height, wrappedProduct(width, height)};
}

// A colour image is counted in 32 bits; a larger one is refused as if memory were short.
SampleCount colourSamples(int width, int height) {
    std::int32_t pixels = 0;
    std::int32_t samples = 0;
    if (__builtin_mul_overflow(width, height, &pixels) || __builtin_mul_overflow(pixels, 3, &samples))
        return {-1, 0};
    return {samples + SPARE_BYTES_PPM, samples};
}

unsigned char* readImage(const char* path, int* width, int* height, char kind,
                         SampleCount (*countSamples)(int, int)) {
    if (path == nullptr || width == nullptr || height == nullptr) return nullptr;
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return nullptr;

    const char* name = kind == '5' ? "PGM" : "PPM";
    const auto maximum = readHeader(file, kind, width, height);
    if (!maximum) {
        std::printf("%s Not a %s file\n", path, name);
        return nullptr;
    }
    const SampleCount count = countSamples(*width, *height);
    void* samples = nullptr;
    if (count.bytes >= 0 && static_cast<std::uint64_t>(count.bytes) <= PTRDIFF_MAX)
        samples = std::malloc(static_cast<std::size_t>(std::max<std::int64_t>(count.bytes, 1)));
    if (samples == nullptr) {
        std::printf("READ_%s() error: Couldn't malloc image\n", name);
        return nullptr;
    }
    if (count.read > 0)
        readSamples(file, static_cast<unsigned char*>(samples), static_cast<std::size_t>(count.read),
                    *maximum);
    std::fclose(file);
    return static_cast<unsigned char*>(samples);
}

}  // namespace

unsigned char* read_pgm(const char* path, int* width, int* height) {
    return readImage(path, width, height, '5', greySamples);
}

unsigned char* read_ppm(const char* path, int* width, int* height) {
    return readImage(path, width, height, '6', colourSamples);
}

int write_pgm(const char* path, const char* comment, unsigned char* samples, int width, int height) {
    return writeImage("P5", path, comment, samples, width, height, 1);
}

int write_ppm(const char* path, const char* comment, unsigned char* samples, int width, int height) {
    return writeImage("P6", path, comment, samples, width, height, 3);
}
