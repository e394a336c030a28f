// capture_source.h - the platform's capture devices; one source file a platform, picked by the build.
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
