// device_listing.cpp - the listing's JSON, and the two functions that fill it from the platform.
#include "platform/device_listing.h"

#include <cmath>
#include <cstdio>

#include "base/json_writing.h"
#include "platform/capture_source.h"

namespace lumetra {

namespace {

void writeProfile(JsonWriter& writer, unsigned number, const CaptureProfile& profile) {
    writer.StartObject();
    writer.Key("ProfileNum");
    writer.Uint(number);
    writer.Key("Width");
    writer.Uint(profile.width);
    writer.Key("Height");
    writer.Uint(profile.height);
    writer.Key("FramerateNumerator");
    writer.Double(std::isfinite(profile.maxFrameRate) ? profile.maxFrameRate : 0.0);
    writer.Key("FramerateDenominator");
    writer.Double(1.0);
    writer.EndObject();
}

void writeDevice(JsonWriter& writer, unsigned number, const CaptureDevice& device) {
    writer.StartObject();
    writer.Key("DeviceNum");
    writer.Uint(number);
    writer.Key("DeviceName");
    writeString(writer, device.name);
    writer.Key("DeviceID");
    writeString(writer, device.uniqueId);
    writer.Key("Profiles");
    writer.StartArray();
    unsigned profileNumber = 0;
    for (const CaptureProfile& profile : device.profiles) writeProfile(writer, profileNumber++, profile);
    writer.EndArray();
    writer.EndObject();
}

void writeEmptyArray(JsonWriter& writer, const char* key) {
    writer.Key(key);
    writer.StartArray();
    writer.EndArray();
}

}  // namespace

std::string writeDeviceListing(const std::vector<CaptureDevice>& devices) {
    JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    writer.Key("videoInputDevices");
    writer.StartArray();
    unsigned number = 0;
    for (const CaptureDevice& device : devices) writeDevice(writer, number++, device);
    writer.EndArray();
    writeEmptyArray(writer, "audioInputDevices");
    writeEmptyArray(writer, "audioOutputDevices");
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

}  // namespace lumetra

using namespace lumetra;

void enumerateAVDevicesNative(std::string& out, int unused) {
    std::puts("Enumerating Devices...");
    std::fflush(stdout);
    enumerateAppleDevices(out, unused);
}

void enumerateAppleDevices(std::string& out, int) {
    out = writeDeviceListing(listCaptureDevices());
}
