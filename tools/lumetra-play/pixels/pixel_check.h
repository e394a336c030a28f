// pixel_check.h - what modules must find in a frame, worked out from the pushed bytes by the rule alone
// (plain loops that share nothing with the library), and the comparison with what they found. Any thread.
#ifndef LUMETRA_PLAY_PIXEL_CHECK_H
#define LUMETRA_PLAY_PIXEL_CHECK_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "tools/lumetra-play/pixels/picture.h"

/// Of each level 16 hexadecimal digits, empty where modules find none.
using LevelDigests = std::array<std::string, LEVEL_COUNT>;

/// Level by level, those that modules find.
/// @param pushed   level 0 and, with `pyramid`, the seven levels behind it
/// @param flags    LUMETRA_CONVERSIONMODIFIER; of a colour picture, LUMETRA_CONVERT_GRAY among them
/// @param pyramid  whether the frame is pushed with its levels ("mipMap")
std::vector<Bytes> expectedLevels(const Picture& picture, const Bytes& pushed, std::int32_t flags,
                                  bool pyramid);

LevelDigests digestsOf(const std::vector<Bytes>& levels);

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
