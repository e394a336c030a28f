// live_frames.cpp - recording a frame, and computing what somebody asks for.
#include "live_frames.h"

#include <unistd.h>

#include <algorithm>
#include <vector>

#include <nlohmann/json.hpp>

#include "jpeg_encoding.h"
#include "support/frame_times.h"

namespace {

using nlohmann::ordered_json;

constexpr std::chrono::seconds WATCHED_FOR{3};  // after the last request
constexpr std::chrono::milliseconds TEXT_KEEPS{100};
constexpr std::chrono::seconds RECENT{1};
constexpr std::size_t MOST_ARRIVALS = 1024;
constexpr std::size_t LONGEST_DESCRIPTOR = 2000;  // bytes
constexpr int QUALITY = 80;                       // of pictures, of 100

std::string beginningOf(const std::string& text) {
    if (text.size() <= LONGEST_DESCRIPTOR) return text;
    std::size_t end = LONGEST_DESCRIPTOR;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // not amid a character
    return text.substr(0, end);
}

std::int64_t millisecondsSince(std::chrono::steady_clock::time_point time) {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now() - time).count();
}

void describePixels(const IChnk& chunk, ordered_json& frame) {
    const auto level = findLevel(chunk, 0);
    if (!level) return;
    ordered_json levels = ordered_json::array();
    for (int k = 0; k < LEVEL_COUNT; ++k) {
        const auto other = findLevel(chunk, k);
        if (!other) break;
        levels.push_back({other->width, other->height});
    }
    const Histogram histogram = histogramOf(*level);
    frame["levels"] = std::move(levels);
    frame["mean"] = meanOf(histogram);
    frame["histogram"] = histogram;
}

ordered_json describeFrame(const IChnk& chunk) {
    ordered_json frame = {{"frame", chunk.frameIndex},
                          {"width", chunk.width},
                          {"height", chunk.height},
                          {"format", static_cast<std::int32_t>(chunk.format)}};
    describePixels(chunk, frame);
    frame["descriptor"] = beginningOf(chunk.descriptor);
    return frame;
}

}  // namespace

LiveFrames::LiveFrames()
    : m_instance(std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + "-" +
                 std::to_string(getpid())) {}

void LiveFrames::take(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk) {
    const bool watched = isWatched();
    Arrival arrival{Clock::now(), 0};
    if (watched) arrival.latencyUs = systemMicroseconds() - pushTime(chunkId, chunk->descriptor);
    std::shared_ptr<IChnk> replaced = chunk;  // released after the lock, since that may free a whole buffer
    const std::lock_guard lock(m_mutex);
    if (watched) count(*chunk, arrival);
    if (m_newest.chunk != nullptr && wasOvertaken(chunkId, m_newest.chunkId)) return;
    m_newest.chunkId = chunkId;
    ++m_newest.number;
    m_newest.at = arrival.at;
    m_newest.chunk.swap(replaced);
}

void LiveFrames::count(const IChnk& chunk, Arrival arrival) {
    if (m_frames++ == 0) m_leastIndex = m_greatestIndex = chunk.frameIndex;
    m_leastIndex = std::min<std::int64_t>(m_leastIndex, chunk.frameIndex);
    m_greatestIndex = std::max<std::int64_t>(m_greatestIndex, chunk.frameIndex);
    m_arrivals.push_back(arrival);
    if (m_arrivals.size() > MOST_ARRIVALS) m_arrivals.pop_front();
}

void LiveFrames::forget() {
    std::shared_ptr<IChnk> forgotten;
    {
        const std::lock_guard lock(m_mutex);
        m_newest.chunk.swap(forgotten);
        m_frames = 0;
        m_arrivals.clear();
    }
    m_lookedAt = Clock::time_point();
    for (Encoded& encoded : m_encoded) {
        const std::lock_guard lock(encoded.mutex);
        encoded.file = nullptr;
        encoded.of.reset();
    }
}

bool LiveFrames::isWatched() const {
    const auto lookedAt = m_lookedAt.load();
    return lookedAt != Clock::time_point() && Clock::now() - lookedAt < WATCHED_FOR;
}

// Whoever looks first begins the figures.
void LiveFrames::look() {
    const bool watched = isWatched();
    m_lookedAt = Clock::now();
    if (watched) return;
    const std::lock_guard lock(m_mutex);
    m_frames = 0;
    m_arrivals.clear();
}

LiveFrames::Newest LiveFrames::newest() {
    const std::lock_guard lock(m_mutex);
    return m_newest;
}

LivePicture LiveFrames::picture(int level, std::string_view seen) {
    look();
    const Newest newest = this->newest();
    LivePicture picture;
    if (newest.chunk == nullptr) return picture;
    const IChnk& chunk = *newest.chunk;
    picture.token = m_instance + "-" + std::to_string(newest.number);
    picture.frame = chunk.frameIndex;
    picture.width = chunk.width;
    picture.height = chunk.height;
    picture.ageMs = millisecondsSince(newest.at);
    const auto pixels = level >= 0 && level < LEVEL_COUNT ? findLevel(chunk, level) : std::nullopt;
    picture.state = !findLevel(chunk, 0)    ? LivePicture::State::NotGrey
                    : !pixels               ? LivePicture::State::NoLevel
                    : seen == picture.token ? LivePicture::State::Seen
                                            : LivePicture::State::New;
    if (picture.state != LivePicture::State::New) return picture;
    picture.file = encode(level, *pixels, newest.chunk);
    if (picture.file == nullptr) picture.state = LivePicture::State::NoLevel;
    return picture;
}

std::shared_ptr<const std::string> LiveFrames::encode(int level, const GreyLevel& pixels,
                                                      const std::shared_ptr<IChnk>& chunk) {
    Encoded& encoded = m_encoded[static_cast<std::size_t>(level)];
    const std::lock_guard lock(encoded.mutex);
    if (encoded.of.lock() != chunk) {
        encoded.file = encodeJpeg(pixels, QUALITY);
        encoded.of = chunk;
        ++m_encodings;
    }
    return encoded.file;
}

std::string LiveFrames::statistics() {
    look();
    const std::lock_guard lock(m_textMutex);
    const auto now = Clock::now();
    if (m_text.empty() || now - m_textAt >= TEXT_KEEPS) {
        m_text = describe();
        m_textAt = now;
    }
    return m_text;
}

std::string LiveFrames::describe() {
    ordered_json text = figures();
    text["encodings"] = m_encodings.load();
    if (const Newest newest = this->newest(); newest.chunk != nullptr) {
        text["newest"] = describeFrame(*newest.chunk);
        text["newest"]["ageMs"] = millisecondsSince(newest.at);
    }
    // A descriptor may hold what is no text.
    return text.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json LiveFrames::figures() {
    const auto now = Clock::now();
    const std::lock_guard lock(m_mutex);
    std::vector<std::int64_t> latencies;
    std::int64_t recent = 0;
    for (const Arrival& arrival : m_arrivals) {
        latencies.push_back(arrival.latencyUs);
        recent += now - arrival.at < RECENT ? 1 : 0;
    }
    std::sort(latencies.begin(), latencies.end());
    const std::int64_t delivered = static_cast<std::int64_t>(m_frames);
    const std::int64_t missing = delivered == 0 ? 0 : m_greatestIndex - m_leastIndex + 1 - delivered;
    return {{"frames", delivered},
            {"missing", std::max<std::int64_t>(0, missing)},
            {"fps", recent},
            {"latencyUs", {{"median", percentile(latencies, 50)}, {"p99", percentile(latencies, 99)}}}};
}
