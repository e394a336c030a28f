// pixel_check.cpp - the rule: grey = min(255, (9798 R + 19235 G + 3736 B) >> 15); of packed pixels the luma;
// rows last to first for a flip. Where the library converts nothing, the pushed bytes stay.
#include "tools/lumetra-play/pixels/pixel_check.h"

#include <algorithm>
#include <utility>

#include "plugins/FrameMonitor/pixel_digest.h"
#include "tools/support/text.h"

namespace {

// A frame that is still on its way is at most some hundred milliseconds old.
constexpr std::size_t REMEMBERED_FRAMES = 8192;

void flipRows(Bytes& pixels, std::int32_t width) {
    if (pixels.empty()) return;
    auto top = pixels.begin(), bottom = pixels.end() - width;
    for (; top < bottom; top += width, bottom -= width) std::swap_ranges(top, top + width, bottom);
}

Bytes expectedLevel(const Picture& picture, const Bytes& pushed, int level, std::int32_t flags) {
    const std::uint8_t* source = pushed.data() + picture.offset(level);
    Bytes pixels(source, source + picture.pixels(level));
    if ((flags & LUMETRA_CONVERT_GRAY) == 0) return pixels;

    const bool flip = (flags & LUMETRA_CONVERT_FLIPVERTICAL) != 0;
    if (picture.format == LUMETRA_IMGFORMAT_YUYV) {  // neither a flip nor pushed levels are implemented
        // Pixels go in pairs; the last one of an odd number is left out, and what was there stays.
        const std::size_t paired = level == 0 && !flip ? pixels.size() / 2 * 2 : 0;
        for (std::size_t k = 0; k < paired; ++k) pixels[k] = source[2 * k];
        return pixels;
    }
    const bool isGrey = picture.format == LUMETRA_IMGFORMAT_GRAY8;  // pushed levels are left as they are
    if (level > 0 && (isGrey || (flags & LUMETRA_CONVERT_PYRAMID) == 0)) return pixels;
    if (!isGrey) {
        const std::size_t step = bytesPerPixel(picture.format);
        const int red = picture.format == LUMETRA_IMGFORMAT_RGB ? 0 : 2;
        for (std::uint8_t& pixel : pixels) {
            const int sum = 9798 * source[red] + 19235 * source[1] + 3736 * source[2 - red];
            pixel = static_cast<std::uint8_t>(std::min(255, sum >> 15));
            source += step;
        }
    }
    if (flip) flipRows(pixels, picture.width >> level);
    return pixels;
}

}  // namespace

std::vector<Bytes> expectedLevels(const Picture& picture, const Bytes& pushed, std::int32_t flags,
                                  bool pyramid) {
    std::vector<Bytes> levels;
    for (int level = 0; level < (pyramid ? LEVEL_COUNT : 1); ++level)
        levels.push_back(expectedLevel(picture, pushed, level, flags));
    return levels;
}

LevelDigests digestsOf(const std::vector<Bytes>& levels) {
    LevelDigests digests;
    for (std::size_t k = 0; k < levels.size(); ++k)
        digests[k] = formatted(
            "%016llx", static_cast<unsigned long long>(pixelDigest(levels[k].data(), levels[k].size())));
    return digests;
}

void PixelCheck::expect(std::int32_t frame, const LevelDigests& digests) {
    const std::lock_guard lock(m_mutex);
    m_expectations[frame] = {digests};
    if (m_expectations.size() > REMEMBERED_FRAMES) m_expectations.erase(m_expectations.begin());
}

void PixelCheck::found(std::int32_t frame, const LevelDigests& digests) {
    const std::lock_guard lock(m_mutex);
    const auto differs = [&](const std::string& how) {
        ++m_result.differ;
        if (m_result.firstDifference.empty())
            m_result.firstDifference = "frame " + std::to_string(frame) + ", " + how;
    };
    const auto entry = m_expectations.find(frame);
    if (entry == m_expectations.end()) return differs("which was never pushed");
    Expectation& expectation = entry->second;
    if (!std::exchange(expectation.checked, true)) ++m_result.checked;
    if (expectation.digests == digests || std::exchange(expectation.differs, true)) return;
    const auto level = std::mismatch(digests.begin(), digests.end(), expectation.digests.begin()).first;
    differs("level " + std::to_string(level - digests.begin()));
}

PixelCheck::Result PixelCheck::result() const {
    const std::lock_guard lock(m_mutex);
    return m_result;
}
