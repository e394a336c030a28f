// frame_source.h - where frames come from. One thread. All frames of a source have one size and format.
#ifndef LUMETRA_PLAY_FRAME_SOURCE_H
#define LUMETRA_PLAY_FRAME_SOURCE_H

#include <memory>
#include <string>

#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/stop_request.h"

/// What is known of a source beside its picture; empty or 0 where it does not apply.
struct SourceFacts {
    std::string name;
    std::string container, codec, pixels;  ///< as FFmpeg names them
    std::int32_t width = 0, height = 0;    ///< before scaling and rotation
    int rotation = 0;                      ///< degrees clockwise by which it is turned to stand upright
    double framesPerSecond = 0;
    std::string conversion;  ///< how its pixels become those that are pushed
    bool live = false;       ///< frames come when they are there, as a camera's; their times set no pace
    std::string remark;      ///< of the end, such as a frame that was cut off
    std::string error;       ///< why an input after the first one could not be played
};

class FrameSource {
public:
    virtual ~FrameSource() = default;

    const Picture& picture() const { return m_picture; }
    const SourceFacts& facts() const { return m_facts; }
    /// Replaces `frame` by level 0 of the next frame; false at the end, or if the stop request came.
    /// @param seconds  receives the frame's time, which never decreases
    virtual bool read(Bytes& frame, double& seconds) = 0;

protected:
    Picture m_picture;
    SourceFacts m_facts;
};

/// The source that the options name; `stop` must outlive it.
/// @throws PlayError for everything that cannot be played, with a way out
std::unique_ptr<FrameSource> openSource(const Options& options, const StopRequest& stop);

/// Whether FFmpeg's reader of that name opens files, unlike one of devices, displays or descriptions.
bool opensFiles(const std::string& inputFormat);

/// One line about what this build reads inputs with, for --version.
std::string inputLibraries();

/// Files, URLs, devices and pipes; where FFmpeg's libraries are missing it refuses all of them.
std::unique_ptr<FrameSource> openMedia(const Options& options, const StopRequest& stop);

#endif
