// fake_capture.h - what the fake capture classes answer, as plain data. One thread.
#ifndef LUMETRA_TESTS_APPLE_FAKE_CAPTURE_H
#define LUMETRA_TESTS_APPLE_FAKE_CAPTURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct FakeFormat {
    std::int32_t width, height;         // pixels
    std::vector<double> maxFrameRates;  // one for each range
};

struct FakeDevice {
    std::optional<std::string> name, uniqueId;  // without a value: nil
    bool video = true;
    std::vector<FakeFormat> formats = {};
};

enum class Changing { Nothing, Devices, Formats, Ranges };

/// What the next listing finds.
extern std::vector<FakeDevice> fakeDevices;
/// The list that grows while it is walked.
extern Changing fakeChange;
/// Capture objects that are alive now.
extern int liveCaptureObjects;

#endif
