// canvas.cpp - drawing, and a font of 15 dots a letter.
#include "tools/lumetra-play/view/canvas.h"

#include <png.h>

#include <cctype>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

constexpr int GLYPH_WIDTH = 3, GLYPH_HEIGHT = 5, ADVANCE = 4;  // dots

// Five rows of three dots, top row first: one octal digit each.
constexpr std::uint16_t DIGITS[] = {075557, 026227, 071747, 071717, 055711,
                                    074717, 074757, 071222, 075757, 075717};
constexpr std::uint16_t LETTERS[] = {025755, 065656, 034443, 065556, 074647, 074644, 034553, 055755, 072227,
                                     011152, 055655, 044447, 057755, 065555, 025552, 065644, 025563, 065655,
                                     034216, 072222, 055557, 055552, 055775, 055255, 055222, 071247};

std::uint16_t glyph(char letter) {
    const auto sign = static_cast<unsigned char>(letter);
    if (std::isdigit(sign)) return DIGITS[sign - '0'];
    if (std::isalpha(sign)) return LETTERS[std::toupper(sign) - 'A'];
    return letter == '-' ? 000700 : 0;
}

}  // namespace

Canvas::Canvas(int width, int height, const RgbColour& background) {
    m_image.width = width;
    m_image.height = height;
    m_image.pixels.resize(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) put(x, y, background.data());
}

void Canvas::put(int x, int y, const std::uint8_t* colour) {
    if (x < 0 || y < 0 || x >= m_image.width || y >= m_image.height) return;
    const auto at =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(m_image.width) + static_cast<std::size_t>(x);
    for (std::size_t c = 0; c < 3; ++c) m_image.pixels[3 * at + c] = colour[c];
}

void Canvas::draw(int left, int top, const RgbImage& image, const Scale& scale) {
    for (int y = 0; y < scale.of(image.height); ++y) {
        const auto row = static_cast<std::size_t>(y * scale.thinOut / scale.enlarge) *
                         static_cast<std::size_t>(image.width);
        for (int x = 0; x < scale.of(image.width); ++x)
            put(left + x, top + y,
                &image.pixels[3 * (row + static_cast<std::size_t>(x * scale.thinOut / scale.enlarge))]);
    }
}

void Canvas::write(int left, int top, std::string_view text, int dot, const RgbColour& colour) {
    for (const char letter : text) {
        const unsigned dots = glyph(letter);
        for (int at = 0; at < GLYPH_WIDTH * GLYPH_HEIGHT; ++at) {
            if ((dots >> (GLYPH_WIDTH * GLYPH_HEIGHT - 1 - at) & 1) == 0) continue;
            const int x = left + at % GLYPH_WIDTH * dot, y = top + at / GLYPH_WIDTH * dot;
            for (int k = 0; k < dot * dot; ++k) put(x + k % dot, y + k / dot, colour.data());
        }
        left += ADVANCE * dot;
    }
}

int Canvas::textWidth(std::string_view text, int dot) {
    return static_cast<int>(text.size()) * ADVANCE * dot;
}

void writePng(const std::string& path, const RgbImage& image) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.width);
    header.height = static_cast<png_uint_32>(image.height);
    header.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = 0;
    Bytes png;
    bool done = png_image_write_get_memory_size(header, size, 0, image.pixels.data(), 0, nullptr) != 0;
    png.resize(size);
    done = done &&
           png_image_write_to_memory(&header, png.data(), &size, 0, image.pixels.data(), 0, nullptr) != 0;
    if (!done) throw PlayError("cannot make " + path + " (" + header.message + "): play a smaller picture");
    png.resize(size);
    output::writeFile(path, png);
}
