// pixel_check.cpp - one comparison for each report of a frame.
#include "tools/lumetra-play/pixels/pixel_check.h"

#include <algorithm>

namespace {

// A frame that is still on its way is at most some hundred milliseconds old.
constexpr std::size_t REMEMBERED_FRAMES = 8192;

}  // namespace

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
