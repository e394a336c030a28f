// capture_source.h - what a platform answers; one source file each, picked by the build, no #if inside.
// No state: any thread that may use the platform's capture devices.
#ifndef LUMETRA_PLATFORM_CAPTURE_SOURCE_H
#define LUMETRA_PLATFORM_CAPTURE_SOURCE_H

#include <vector>

#include "platform/device_listing.h"

namespace lumetra {

/// Every device that captures video, in the platform's order, with one profile for each pair of format
/// and frame-rate range. What a device does not answer is left out of its record.
std::vector<CaptureDevice> listCaptureDevices();

}  // namespace lumetra

#endif
