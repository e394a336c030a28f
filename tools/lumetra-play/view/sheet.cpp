// sheet.cpp - tiles, each pixel the nearest of its picture.
#include "tools/lumetra-play/view/sheet.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

constexpr int TILE_SIDE = 640, GAP = 8, COLUMNS = 3;  // pixels, tiles
constexpr std::uint8_t BACKGROUND = 46;

struct Sheet {
    int tileWidth, tileHeight, width, height;
    Bytes pixels;  // RGB
};

std::array<std::uint8_t, 3> colourOf(const Picture& picture, const Bytes& frame, int x, int y) {
    const std::size_t step = bytesPerPixel(picture.format);
    const std::uint8_t* const pixel =
        frame.data() + step * (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                               static_cast<std::size_t>(x));
    if (picture.format == LUMETRA_IMGFORMAT_RGB) return {pixel[0], pixel[1], pixel[2]};
    if (picture.format == LUMETRA_IMGFORMAT_GRAY8) return {pixel[0], pixel[0], pixel[0]};
    if (picture.format != LUMETRA_IMGFORMAT_YUYV) return {pixel[2], pixel[1], pixel[0]};
    // The other kind of chroma is in the neighbour; a last pixel without one has none.
    const std::uint8_t other = x % 2 == 1 ? pixel[-1] : x + 1 < picture.width ? pixel[3] : 128;
    const int luma = 298 * (pixel[0] - 16) + 128;
    const int u = (x % 2 == 0 ? pixel[1] : other) - 128, v = (x % 2 == 0 ? other : pixel[1]) - 128;
    const auto sample = [](int value) { return static_cast<std::uint8_t>(std::clamp(value / 256, 0, 255)); };
    return {sample(luma + 409 * v), sample(luma - 100 * u - 208 * v), sample(luma + 516 * u)};
}

Sheet blankSheet(const Picture& picture, int tiles) {
    const int longer = std::max(picture.width, picture.height);
    const int side = longer > TILE_SIDE ? TILE_SIDE : TILE_SIDE / longer * longer;
    Sheet sheet{
        std::max(1, picture.width * side / longer), std::max(1, picture.height * side / longer), 0, 0, {}};
    sheet.width = COLUMNS * (sheet.tileWidth + GAP) + GAP;
    sheet.height = (tiles + COLUMNS - 1) / COLUMNS * (sheet.tileHeight + GAP) + GAP;
    sheet.pixels.assign(3 * static_cast<std::size_t>(sheet.width) * static_cast<std::size_t>(sheet.height),
                        BACKGROUND);
    return sheet;
}

void drawTile(Sheet& sheet, int tile, const Picture& picture, const Bytes& frame) {
    const int left = GAP + tile % COLUMNS * (sheet.tileWidth + GAP);
    const int top = GAP + tile / COLUMNS * (sheet.tileHeight + GAP);
    for (int y = 0; y < sheet.tileHeight; ++y)
        for (int x = 0; x < sheet.tileWidth; ++x) {
            const auto colour = colourOf(picture, frame, x * picture.width / sheet.tileWidth,
                                         y * picture.height / sheet.tileHeight);
            std::copy(colour.begin(), colour.end(),
                      sheet.pixels.begin() + 3 * ((top + y) * sheet.width + left + x));
        }
}

void writePng(const std::string& path, const Sheet& sheet) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(sheet.width);
    header.height = static_cast<png_uint_32>(sheet.height);
    header.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(header);
    Bytes png(size);
    if (png_image_write_to_memory(&header, png.data(), &size, 0, sheet.pixels.data(), 0, nullptr) == 0)
        throw PlayError("cannot make " + path + " (" + header.message + "): leave out --sheet");
    png.resize(size);
    output::writeFile(path, png);
}

}  // namespace

void writeSheet(const std::string& path, const Picture& picture, const Bytes& pushed,
                const MonitorLink& monitor, const LibraryTable& library, const ScratchFolder& scratch) {
    const std::string prefix = (scratch.path() / "frame").string();
    const int levels = monitor.snapshot(prefix);
    Sheet sheet = blankSheet(picture, 1 + levels);
    drawTile(sheet, 0, picture, pushed);
    for (int level = 0; level < levels; ++level) {
        Picture grey{LUMETRA_IMGFORMAT_GRAY8, 0, 0};
        const std::string file = prefix + "_lvl_" + std::to_string(level) + ".pgm";
        const std::unique_ptr<unsigned char, decltype(&std::free)> samples(
            library.readPgm(file.c_str(), &grey.width, &grey.height), &std::free);
        if (samples != nullptr)
            drawTile(sheet, level + 1, grey, Bytes(samples.get(), samples.get() + grey.bytes()));
    }
    writePng(path, sheet);
}
