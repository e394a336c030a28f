// frame_producer.h - where the camera's frames come from. One thread.
#ifndef LUMETRA_CAMERASOURCE_FRAME_PRODUCER_H
#define LUMETRA_CAMERASOURCE_FRAME_PRODUCER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <LumetraCore/LumetraTypes.h>

#include "support/stop_signal.h"

using Bytes = std::vector<std::uint8_t>;

struct CameraSettings {
    std::string source = "scene";
    std::int32_t width = 0, height = 0;  // pixels
    LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_YUYV;
    double framesPerSecond = 30;
    bool loop = false;

    bool isValid() const;
    std::size_t frameBytes() const;
};

class FrameProducer {
public:
    virtual ~FrameProducer() = default;
    /// Replaces `frame` by the next one, which has as many bytes as the settings say. False at the end or
    /// when stopped. @throws std::runtime_error with a sentence for the log
    virtual bool next(Bytes& frame) = 0;
    /// Whether frames come at a pace of their own.
    virtual bool isPaced() const = 0;
};

/// Opens what the settings name; `stop` must outlive the result. @throws std::runtime_error
std::unique_ptr<FrameProducer> openProducer(const CameraSettings& settings, const StopSignal& stop);

/// A video device of the platform.
std::unique_ptr<FrameProducer> openVideoDevice(const CameraSettings& settings, const StopSignal& stop);
bool isVideoDevice(const std::string& path);

#endif
