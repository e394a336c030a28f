// device_listing.h - capture devices as JSON: plain records in, text out, no platform header.
// No state: any thread that may use the platform's capture devices.
#ifndef LUMETRA_PLATFORM_DEVICE_LISTING_H
#define LUMETRA_PLATFORM_DEVICE_LISTING_H

#include <cstdint>
#include <string>
#include <vector>

namespace lumetra {

/// A picture size and the highest rate of one of its frame-rate ranges.
struct CaptureProfile {
    std::uint32_t width, height;  // pixels
    double maxFrameRate;          // frames per second

    bool operator==(const CaptureProfile&) const = default;
};

/// A video capture device. Both texts are valid UTF-8.
struct CaptureDevice {
    std::string name, uniqueId;
    std::vector<CaptureProfile> profiles;
};

/// The listing, devices and profiles numbered from 0 in the order given. A rate that is no finite number,
/// which JSON cannot express, is written as 0.0.
std::string writeDeviceListing(const std::vector<CaptureDevice>& devices);

}  // namespace lumetra

/// Announces itself on standard output, then does what enumerateAppleDevices does.
void enumerateAVDevicesNative(std::string& out, int unused);

/// Replaces `out` by the listing of this machine's video capture devices. The name is the interface's;
/// the devices are those of whatever platform this is. The number is not used.
void enumerateAppleDevices(std::string& out, int unused);

#endif
