// video_device_linux.h - the system calls of a V4L2 capture, so that a test can play the device.
#ifndef LUMETRA_CAMERASOURCE_VIDEO_DEVICE_LINUX_H
#define LUMETRA_CAMERASOURCE_VIDEO_DEVICE_LINUX_H

#include <functional>
#include <memory>
#include <string>

#include "frame_producer.h"

struct VideoDeviceCalls {
    std::function<int(const char* path)> open;  // a descriptor, or -1
    std::function<int(int file)> close;
    std::function<int(int file, unsigned long request, void* data)> ioctl;  // 0, or -1 and errno
    std::function<void*(int file, std::size_t size, long offset)> map;      // null if it fails
    std::function<void(void* memory, std::size_t size)> unmap;
};

VideoDeviceCalls systemVideoDeviceCalls();

/// @throws std::runtime_error if the device has no such size and format, or fails
std::unique_ptr<FrameProducer> openVideoDevice(const CameraSettings& settings, const StopSignal& stop,
                                               const VideoDeviceCalls& calls);

#endif
