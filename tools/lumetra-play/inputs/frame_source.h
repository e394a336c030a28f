// frame_source.h - where frames come from: the built-in scene, raw video, Y4M or Netpbm files.
// One thread. A source has one picture size and format for all its frames.
#ifndef LUMETRA_PLAY_FRAME_SOURCE_H
#define LUMETRA_PLAY_FRAME_SOURCE_H

#include <memory>
#include <string>

#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/stop_request.h"

class FrameSource {
public:
    virtual ~FrameSource() = default;

    const Picture& picture() const { return m_picture; }
    virtual std::string name() const = 0;                 ///< for messages
    virtual double framesPerSecond() const { return 0; }  ///< the source's own rate; 0 if it has none
    /// Replaces `frame` by level 0 of the next frame; false at the end.
    virtual bool read(Bytes& frame) = 0;
    virtual bool rewind() { return false; }  ///< back to the first frame; false if that is not possible
    /// What should be known of the end, such as a frame that was cut off; otherwise empty.
    const std::string& remark() const { return m_remark; }

protected:
    void remarkCutOff(std::size_t got, std::size_t expected);

    Picture m_picture;
    std::string m_remark;
};

/// The source that the options name. `library` reads Netpbm files; it and `stop` must outlive the source.
/// @throws PlayError for everything that cannot be played, with a way out
std::unique_ptr<FrameSource> openSource(const Options& options, const LibraryTable& library,
                                        const StopRequest& stop);

#endif
