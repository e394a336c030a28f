// sheet.cpp - fetching levels, and laying out tiles in columns of rows.
#include "tools/lumetra-play/view/sheet.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tools/lumetra-play/modules/module_files.h"
#include "tools/lumetra-play/pixels/conversion.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr RgbColour BACKGROUND = {44, 46, 50}, LABEL = {196, 200, 206};
constexpr int COMFORTABLE_SIDE = 480, LARGEST_SIDE = 1920;     // pixels on the sheet
constexpr int SHARES[LEVEL_COUNT] = {1, 2, 4, 4, 8, 8, 8, 8};  // a level's part of the side: one half, ...

struct Tile {
    std::string label;
    const RgbImage* image;
    Scale scale;
};

using Row = std::vector<Tile>;
using Column = std::vector<Row>;

struct Layout {
    int dot, gap;

    int tileWidth(const Tile& tile) const {
        return std::max(tile.scale.of(tile.image->width), Canvas::textWidth(tile.label, dot));
    }
    int tileHeight(const Tile& tile) const { return labelHeight() + tile.scale.of(tile.image->height); }
    int labelHeight() const { return Canvas::textHeight(dot) + 2 * dot; }

    int rowWidth(const Row& row) const {
        int width = 0;
        for (const Tile& tile : row) width += tileWidth(tile) + (&tile == &row.front() ? 0 : gap);
        return width;
    }
    int rowHeight(const Row& row) const {
        int height = 0;
        for (const Tile& tile : row) height = std::max(height, tileHeight(tile));
        return height;
    }
    int columnWidth(const Column& column) const {
        int width = 0;
        for (const Row& row : column) width = std::max(width, rowWidth(row));
        return width;
    }
    int columnHeight(const Column& column) const {
        int height = 0;
        for (const Row& row : column) height += rowHeight(row) + (&row == &column.front() ? 0 : gap);
        return height;
    }
};

// The whole-numbered scale that comes nearest to `target` for the longer side without exceeding it.
Scale fit(const RgbImage& image, int target) {
    const int side = std::max(image.width, image.height);
    if (side <= target) return {target / side, 1};
    return {1, (side + target - 1) / target};
}

std::string sizeLabel(const RgbImage& image) {
    return std::to_string(image.width) + "X" + std::to_string(image.height);
}

Column smallLevels(const ShownLevels& levels, int side) {
    Column column;
    for (const auto& [first, last] : {std::pair{1, 1}, {2, 3}, {4, 7}}) {
        Row row;
        for (int k = first; k <= last; ++k)
            if (const auto& level = levels[static_cast<std::size_t>(k)])
                row.push_back({"L" + std::to_string(k) + " " + sizeLabel(*level), &*level,
                               fit(*level, std::max(1, side / SHARES[k]))});
        if (!row.empty()) column.push_back(std::move(row));
    }
    return column;
}

void drawColumn(Canvas& canvas, const Layout& layout, const Column& column, int left) {
    int top = layout.gap;
    for (const Row& row : column) {
        int x = left;
        for (const Tile& tile : row) {
            canvas.write(x, top, tile.label, layout.dot, LABEL);
            canvas.draw(x, top + layout.labelHeight(), *tile.image, tile.scale);
            x += layout.tileWidth(tile) + layout.gap;
        }
        top += layout.rowHeight(row) + layout.gap;
    }
}

}  // namespace

ShownLevels fetchLevels(const MonitorLink& monitor, const LibraryTable& library) {
    const ScratchFolder folder;
    const std::string prefix = (folder.path() / "frame").string();
    ShownLevels levels;
    if (monitor.snapshot(prefix) == 0) return levels;
    for (int k = 0; k < LEVEL_COUNT; ++k) {
        Picture picture{LUMETRA_IMGFORMAT_GRAY8, 0, 0};
        const std::string path = prefix + "_lvl_" + std::to_string(k) + ".pgm";
        const std::unique_ptr<unsigned char, decltype(&std::free)> samples(
            library.readPgm(path.c_str(), &picture.width, &picture.height), &std::free);
        if (samples == nullptr) continue;
        const Bytes grey(samples.get(), samples.get() + picture.bytes());
        levels[static_cast<std::size_t>(k)] =
            RgbImage{picture.width, picture.height, convertPixels(picture, grey, LUMETRA_IMGFORMAT_RGB)};
    }
    return levels;
}

RgbImage composeSheet(const RgbImage& pushed, const char* formatName, const ShownLevels& levels) {
    const int longer = std::max(pushed.width, pushed.height);
    const int wanted = std::min(std::max(longer, COMFORTABLE_SIDE), LARGEST_SIDE);
    const Scale scale = fit(pushed, wanted);
    const int side = scale.of(longer);
    const Layout layout{std::max(1, side / 320), std::max(4, side / 40)};

    std::vector<Column> columns;
    columns.push_back({{{std::string("PUSHED ") + formatName + " " + sizeLabel(pushed), &pushed, scale}}});
    if (levels[0]) columns.push_back({{{"L0 " + sizeLabel(*levels[0]), &*levels[0], scale}}});
    columns.push_back(smallLevels(levels, side));

    int width = layout.gap;
    int height = 0;
    for (const Column& column : columns) {
        if (!column.empty()) width += layout.columnWidth(column) + layout.gap;
        height = std::max(height, layout.columnHeight(column));
    }
    Canvas canvas(width, height + 2 * layout.gap, BACKGROUND);
    int left = layout.gap;
    for (const Column& column : columns) {
        drawColumn(canvas, layout, column, left);
        left += layout.columnWidth(column) + layout.gap;
    }
    return canvas.image();
}
