// camera_play.h - plays the frames that the module CameraSource pushes, instead of pushing any itself.
// One thread, the host's; the frames come on the module's.
#ifndef LUMETRA_PLAY_CAMERA_PLAY_H
#define LUMETRA_PLAY_CAMERA_PLAY_H

#include <cstdint>
#include <string>

#include "tools/lumetra-play/modules/monitor_link.h"
#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/library_table.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/player.h"
#include "tools/lumetra-play/run/stop_request.h"
#include "tools/lumetra-play/view/progress.h"

/// The module's configuration for what the command line asks for.
std::string cameraConfiguration(const Options& options, const Picture& picture);

class CameraPlay {
public:
    /// The module is loaded and configured; everything given must outlive the play.
    CameraPlay(const LibraryTable& library, MonitorLink& monitor, const StopRequest& stop, bool quiet);
    ~CameraPlay();
    CameraPlay(const CameraPlay&) = delete;
    CameraPlay& operator=(const CameraPlay&) = delete;

    /// Until the camera ends, `frames` have been pushed (0: no limit) or the stop request comes.
    /// @throws PlayError if the camera does not start or fails
    PlayResult play(std::int64_t frames);

private:
    struct Report {
        std::int64_t pushed = 0, refused = 0;
    };

    static void onLine(std::int32_t level, const char16_t* text);
    Report report();

    const LibraryTable& m_library;
    MonitorLink& m_monitor;
    const StopRequest& m_stop;
    Progress m_progress;
    std::mutex m_mutex;  // guards what follows
    Report m_report;
    std::string m_complaint;  // the module's last error or warning
};

#endif
