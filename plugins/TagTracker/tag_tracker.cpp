// tag_tracker.cpp - from a frame to a result, no sooner than the rate has it.
#include "tag_tracker.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

#include <nlohmann/json.hpp>

#include "TagTracker.h"
#include "support/json_members.h"

namespace {

using nlohmann::ordered_json;

// Pixels of level 0 for a point on level k.
class LevelScale {
public:
    // The engine derives a level from the top left pixels of 2x2 blocks, and the buffer then has room for
    // level 0 alone, whose pixels had 1 to 4 bytes when they were pushed. Levels that the pusher supplied are
    // taken for averages.
    LevelScale(const IChnk& chunk, int level) : m_factor(std::ldexp(1.0, level)) {
        const std::int64_t pixels = std::int64_t{chunk.width} * chunk.height;
        const bool isDerived = chunk.size % pixels == 0;
        m_offset = isDerived ? (1 - m_factor) / 2 : 0;
    }
    ordered_json operator()(const TagPoint& point) const { return {onLevel0(point.x), onLevel0(point.y)}; }

private:
    double onLevel0(double coordinate) const {
        return std::round((coordinate * m_factor + m_offset) * 1000) / 1000;
    }

    double m_factor, m_offset = 0;
};

ordered_json describe(const std::vector<FoundTag>& tags, const LevelScale& scale) {
    ordered_json found = ordered_json::array(), outlines = ordered_json::array();
    for (const FoundTag& tag : tags) {
        ordered_json points = ordered_json::array();
        for (const TagPoint& corner : tag.corners) points.push_back(scale(corner));
        found.push_back({{"id", tag.id},
                         {"centre", scale(tag.centre)},
                         {"hamming", tag.hamming},
                         {"margin", std::round(tag.margin * 10) / 10}});
        outlines.push_back({{"label", std::to_string(tag.id)}, {"points", std::move(points)}});
    }
    return {{"tags", std::move(found)}, {"outlines", std::move(outlines)}};
}

}  // namespace

struct TagTracker::Search {
    Search(const std::string& family, int searchedLevel, double rate)
        : tags(family), level(searchedLevel), interval(std::chrono::nanoseconds(std::llround(1e9 / rate))) {}

    /// Whether it is time. A frame that comes a little late does not move all later ones.
    bool isDue() {
        const Clock::time_point now = Clock::now();
        if (now < next) return false;
        next = (now - next < interval ? next : now) + interval;
        return true;
    }

    TagSearch tags;
    const int level;
    const std::chrono::nanoseconds interval;
    Clock::time_point next;
};

TagTracker::TagTracker() : m_status(TAGTRACKER_STATUS_STOPPED) {}

void TagTracker::configure(const char* json) {
    constexpr double USUAL_RATE = 15, LOWEST_RATE = 0.01, HIGHEST_RATE = 1000;
    const JsonMembers members(json);
    const int level = std::clamp(members.integer<int>("level").value_or(0), 0, LEVEL_COUNT - 1);
    const double rate = std::clamp(members.number("rate").value_or(USUAL_RATE), LOWEST_RATE, HIGHEST_RATE);
    std::string failure;
    {
        const std::lock_guard lock(m_controlMutex);
        m_mailbox.stop();
        try {
            const auto search =
                std::make_shared<Search>(members.string("family").value_or("tag36h11"), level, rate);
            m_mailbox.start([this, search](std::uint64_t, const IChnk& chunk) { work(*search, chunk); });
            m_status = STATUS_READY;
        } catch (const std::exception& reason) {
            m_status = TAGTRACKER_STATUS_FAILED;
            failure = reason.what();
        }
    }
    if (!failure.empty()) m_log.write(0, "Error: TagTracker does not search: " + failure + "!");
}

bool TagTracker::setRunning(bool running) {
    // Without m_controlMutex: whoever receives a result may call, while its holder waits for the worker.
    const std::int32_t wanted = running ? STATUS_READY : TAGTRACKER_STATUS_PAUSED;
    std::int32_t before = running ? TAGTRACKER_STATUS_PAUSED : STATUS_READY;
    return m_status.compare_exchange_strong(before, wanted) || before == wanted;
}

void TagTracker::take(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    if (m_status == STATUS_READY) m_mailbox.put(chunkId, std::move(chunk));
}

void TagTracker::end() {
    m_log.set(nullptr);
    m_results.set(nullptr, nullptr);
    const std::lock_guard lock(m_controlMutex);
    m_mailbox.stop();
    m_status = TAGTRACKER_STATUS_STOPPED;
}

int TagTracker::skipped() const {
    return m_passedOver + static_cast<int>(m_mailbox.counts().skipped);
}

void TagTracker::work(Search& search, const IChnk& chunk) {
    const auto level = findLevel(chunk, search.level);
    if (m_status != STATUS_READY || !level || !TagSearch::isSearchable(*level) || !search.isDue()) {
        ++m_passedOver;
        return;
    }
    const Clock::time_point begin = Clock::now();
    const std::vector<FoundTag> tags = search.tags.find(*level);
    const auto searchTime = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    ordered_json result = {{"module", "TagTracker"}, {"frame", chunk.frameIndex},
                           {"width", chunk.width},   {"height", chunk.height},
                           {"level", search.level},  {"searchUs", searchTime.count()}};
    result.update(describe(tags, LevelScale(chunk, search.level)));
    // Counted first, so that whoever has the result finds it counted.
    m_found += static_cast<int>(tags.size());
    ++m_searched;
    m_results.write(result.dump().c_str());
}
