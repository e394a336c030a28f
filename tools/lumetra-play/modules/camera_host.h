// camera_host.h - plays what the module CameraSource pushes, as the host of such a module: it sees each
// frame's descriptor, with a JPEG if forwarding is on, keeps the picture and answers with a descriptor of its
// own. Frames arrive on the module's thread. One host exists at a time, since the callback has no user
// pointer.
#ifndef LUMETRA_PLAY_CAMERA_HOST_H
#define LUMETRA_PLAY_CAMERA_HOST_H

#include <cstdint>
#include <mutex>
#include <string>

#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/view/summary.h"

/// The host's answer to a descriptor; it keeps what FrameMonitor measures latency by.
/// @param seen  receives the descriptor without its picture
/// @param jpeg  receives the picture, empty without one
std::string answerTo(const std::string& descriptor, std::string& seen, Bytes& jpeg);

class CameraHost {
public:
    /// Loads and configures the module. Everything given must outlive the host.
    CameraHost(const Options& options, const Picture& picture, const LibraryTable& library,
               EngineSession& engine);
    ~CameraHost();

    /// Until the camera ends, `frames` have been pushed (0: no limit) or the stop request comes.
    /// @param summary  receives the figures. @throws PlayError if the camera does not start or fails
    void play(std::int64_t frames, MonitorLink& monitor, const StopRequest& stop, Summary& summary);

private:
    static const char16_t* onText(void* unused, const char16_t* text);
    std::string answer(const std::string& text);
    void savePicture(const Bytes& jpeg);
    ExchangeCounts counts();

    const Options& m_options;
    const LibraryTable& m_library;
    std::mutex m_mutex;  // guards m_counts
    ExchangeCounts m_counts;
};

#endif
