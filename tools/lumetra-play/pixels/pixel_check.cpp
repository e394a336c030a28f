// pixel_check.cpp - the rule: grey = min(255, (9798 R + 19235 G + 3736 B) >> 15); of packed pixels the luma;
// rows last to first for a flip. Where the library converts nothing, the pushed bytes stay.
#include "tools/lumetra-play/pixels/pixel_check.h"

#include <algorithm>

#include "plugins/FrameMonitor/pixel_digest.h"

namespace {

// A frame that is still on its way is at most some hundred milliseconds old.
constexpr std::size_t REMEMBERED_FRAMES = 8192;

enum class Treatment { Keep, Grey, Luma };

struct LevelRule {
    Treatment treatment;
    bool flip;
};

LevelRule ruleFor(LUMETRA_IMGFORMATTYPE format, int level, std::int32_t flags) {
    const bool flip = (flags & LUMETRA_CONVERT_FLIPVERTICAL) != 0;
    if ((flags & LUMETRA_CONVERT_GRAY) == 0) return {Treatment::Keep, false};
    switch (format) {
        case LUMETRA_IMGFORMAT_GRAY8:  // pushed levels are left as they are
            return {Treatment::Keep, flip && level == 0};
        case LUMETRA_IMGFORMAT_YUYV:  // neither a flip nor pushed levels are implemented
            return {level == 0 && !flip ? Treatment::Luma : Treatment::Keep, false};
        default: {
            const bool converted = level == 0 || (flags & LUMETRA_CONVERT_PYRAMID) != 0;
            return {converted ? Treatment::Grey : Treatment::Keep, converted && flip};
        }
    }
}

std::uint8_t grey(unsigned r, unsigned g, unsigned b) {
    return static_cast<std::uint8_t>(std::min(255u, (9798 * r + 19235 * g + 3736 * b) >> 15));
}

void greyPixels(LUMETRA_IMGFORMATTYPE format, const std::uint8_t* source, Bytes& target) {
    const std::size_t step = format == LUMETRA_IMGFORMAT_BGRA ? 4 : 3;
    const std::size_t red = format == LUMETRA_IMGFORMAT_RGB ? 0 : 2;
    for (std::uint8_t& pixel : target) {
        pixel = grey(source[red], source[1], source[2 - red]);
        source += step;
    }
}

// Pixels go in pairs; the last one of an odd number is left out, and what was there stays.
void lumaPixels(const std::uint8_t* source, Bytes& target) {
    const std::size_t paired = target.size() / 2 * 2;
    for (std::size_t k = 0; k < paired; ++k) target[k] = source[2 * k];
}

void flipRows(Bytes& pixels, std::size_t width) {
    const auto row = [&](std::size_t y) { return pixels.begin() + static_cast<std::ptrdiff_t>(y * width); };
    const std::size_t height = pixels.size() / width;
    for (std::size_t y = 0; y < height / 2; ++y) std::swap_ranges(row(y), row(y + 1), row(height - 1 - y));
}

}  // namespace

ExpectedLevels expectedLevels(const Picture& picture, const Bytes& pushed, std::int32_t flags, bool pyramid) {
    ExpectedLevels levels;
    for (int k = 0; k < (pyramid ? LEVEL_COUNT : 1); ++k) {
        const std::uint8_t* const source = pushed.data() + picture.offset(k);
        const LevelRule rule = ruleFor(picture.format, k, flags);
        Bytes pixels(source, source + picture.pixels(k));
        if (rule.treatment == Treatment::Grey) greyPixels(picture.format, source, pixels);
        if (rule.treatment == Treatment::Luma) lumaPixels(source, pixels);
        if (rule.flip && !pixels.empty()) flipRows(pixels, static_cast<std::size_t>(picture.width >> k));
        levels[static_cast<std::size_t>(k)] = std::move(pixels);
    }
    return levels;
}

LevelDigests digestsOf(const ExpectedLevels& levels) {
    LevelDigests digests;
    for (std::size_t k = 0; k < levels.size(); ++k)
        if (levels[k]) digests[k] = pixelDigest(levels[k]->data(), levels[k]->size());
    return digests;
}

void PixelCheck::expect(std::int32_t frame, const LevelDigests& digests) {
    const std::lock_guard lock(m_mutex);
    m_expectations[frame] = {digests};
    if (m_expectations.size() > REMEMBERED_FRAMES) m_expectations.erase(m_expectations.begin());
}

void PixelCheck::found(std::int32_t frame, const LevelDigests& digests) {
    const std::lock_guard lock(m_mutex);
    const auto entry = m_expectations.find(frame);
    if (entry == m_expectations.end()) {
        ++m_result.differ;
        if (m_result.firstDifference.empty())
            m_result.firstDifference = "frame " + std::to_string(frame) + ", which was never pushed";
        return;
    }
    Expectation& expectation = entry->second;
    if (!expectation.checked) ++m_result.checked;
    expectation.checked = true;
    if (expectation.digests == digests || expectation.differs) return;
    expectation.differs = true;
    ++m_result.differ;
    if (!m_result.firstDifference.empty()) return;
    const auto level = std::mismatch(digests.begin(), digests.end(), expectation.digests.begin()).first;
    m_result.firstDifference =
        "frame " + std::to_string(frame) + ", level " + std::to_string(level - digests.begin());
}

PixelCheck::Result PixelCheck::result() const {
    const std::lock_guard lock(m_mutex);
    return m_result;
}
