// live_frames.h - the newest frame, and what is computed of it for those who look: once, however many they
// are. Any thread. m_mutex is held to record, to copy or to sum up; pixels are looked at under the lock of
// what they make.
#ifndef LUMETRA_LIVEVIEW_LIVE_FRAMES_H
#define LUMETRA_LIVEVIEW_LIVE_FRAMES_H

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include <LumetraCore/IChnk.h>
#include <nlohmann/json_fwd.hpp>

#include "support/grey_levels.h"

class LiveFrames {
public:
    void take(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk);
    void forget();  ///< the newest frame and all figures; who waits is woken

    /// A JPEG file of the newest frame's level, null if there is none.
    std::shared_ptr<const std::string> picture(int level);
    std::string statistics();

    /// Waits until there is a frame with another number of arrival than `seen`, or `most` has passed.
    /// @return the number of the newest arrival
    std::uint64_t waitForNext(std::uint64_t seen, std::chrono::milliseconds most);

private:
    using Clock = std::chrono::steady_clock;  // that nobody sets

    struct Arrival {
        Clock::time_point at;
        std::int64_t latencyUs;
    };
    struct Newest {
        std::uint64_t chunkId = 0;
        std::shared_ptr<IChnk> chunk;
    };
    struct Encoded {
        std::mutex mutex;  // guards both; held while encoding, so that others wait for the same picture
        std::weak_ptr<IChnk> of;
        std::shared_ptr<const std::string> file;
    };

    void look();
    bool isWatched() const;
    void count(const IChnk& chunk, Arrival arrival);
    Newest newest();
    nlohmann::ordered_json figures();
    std::string describe();

    std::atomic<Clock::time_point> m_lookedAt{};
    std::atomic<std::uint64_t> m_encodings{0};

    std::mutex m_mutex;  // guards all down to m_arrivals
    std::condition_variable m_arrived;
    Newest m_newest;
    std::uint64_t m_number = 0;  // of the newest's arrival
    std::uint64_t m_frames = 0;
    std::int64_t m_leastIndex = 0, m_greatestIndex = 0;
    std::deque<Arrival> m_arrivals;

    std::array<Encoded, LEVEL_COUNT> m_encoded;

    std::mutex m_textMutex;  // guards both
    std::string m_text;
    Clock::time_point m_textAt;
};

#endif
