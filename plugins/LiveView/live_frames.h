// live_frames.h - the newest frame, and what is computed of it for those who look: once, however many they
// are, and on the thread that asks, so that a frame costs the engine's workers no more than a pointer. Any
// thread. m_mutex is held to record, to copy or to sum up; pixels are looked at under the lock of what they
// make.
#ifndef LUMETRA_LIVEVIEW_LIVE_FRAMES_H
#define LUMETRA_LIVEVIEW_LIVE_FRAMES_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <LumetraCore/IChnk.h>
#include <nlohmann/json_fwd.hpp>

#include "support/grey_levels.h"

/// The newest frame as a viewer gets it.
struct LivePicture {
    enum class State { New, Seen, NoFrame, NotGrey, NoLevel };
    State state = State::NoFrame;
    std::string token;  ///< tells this picture from all others, those of earlier hosts included
    std::int32_t frame = 0, width = 0, height = 0;  ///< of the frame, whichever level is shown
    std::int64_t ageMs = 0;                         ///< since the frame came
    std::shared_ptr<const std::string> file;        ///< a JPEG file, if the state is New
};

class LiveFrames {
public:
    LiveFrames();
    void take(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk);
    void forget();  ///< the newest frame and all figures
    const std::string& instance() const { return m_instance; }

    /// Level `level` of the newest frame.
    /// @param seen  the token of the picture that the viewer has; it is not encoded again
    LivePicture picture(int level, std::string_view seen = {});
    std::string statistics();

private:
    using Clock = std::chrono::steady_clock;  // that nobody sets

    struct Arrival {
        Clock::time_point at;
        std::int64_t latencyUs;
    };
    struct Newest {
        std::uint64_t chunkId = 0;
        std::uint64_t number = 0;  // of its arrival
        Clock::time_point at;
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
    std::shared_ptr<const std::string> encode(int level, const GreyLevel& pixels,
                                              const std::shared_ptr<IChnk>& chunk);

    const std::string m_instance;  // differs from one loading of the module to the next
    std::atomic<Clock::time_point> m_lookedAt{};
    std::atomic<std::uint64_t> m_encodings{0};

    std::mutex m_mutex;  // guards all down to m_arrivals
    Newest m_newest;
    std::uint64_t m_frames = 0;
    std::int64_t m_leastIndex = 0, m_greatestIndex = 0;
    std::deque<Arrival> m_arrivals;

    std::array<Encoded, LEVEL_COUNT> m_encoded;

    std::mutex m_textMutex;  // guards both
    std::string m_text;
    Clock::time_point m_textAt;
};

#endif
