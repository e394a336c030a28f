// pixel_check.h - compares what modules found in each frame with what the rule gives. Any thread.
#ifndef LUMETRA_PLAY_PIXEL_CHECK_H
#define LUMETRA_PLAY_PIXEL_CHECK_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "tools/lumetra-play/pixels/expected_pixels.h"

class PixelCheck {
public:
    /// Before the frame is pushed.
    void expect(std::int32_t frame, const LevelDigests& digests);
    /// As the module reports; a frame may be reported more than once.
    void found(std::int32_t frame, const LevelDigests& digests);

    struct Result {
        std::uint64_t checked = 0, differ = 0;  // frames
        std::string firstDifference;            // "frame 7, level 2"; empty if there is none
    };
    Result result() const;

private:
    struct Expectation {
        LevelDigests digests;
        bool checked = false, differs = false;
    };

    mutable std::mutex m_mutex;                          // guards the two below
    std::map<std::int32_t, Expectation> m_expectations;  // the newest frames only
    Result m_result;
};

#endif
