// capture_source_apple.mm - the capture devices of AVFoundation as plain records.
// Any thread that may use AVFoundation. Owns no object: all that it is handed lives in its pool, so
// the file is the same with and without automatic reference counting. A list that changes while it is
// walked raises the runtime's enumeration-mutation exception, which leaves through the caller.
#import <AVFoundation/AVFoundation.h>
#import <CoreMedia/CoreMedia.h>

#include "platform/capture_source.h"

namespace lumetra {

namespace {

std::string utf8Text(NSString* text) {
    const char* bytes = [text UTF8String];
    return bytes == nullptr ? std::string() : std::string(bytes);
}

// The platform's sizes are signed; the listing knows no sign.
CaptureProfile profileOf(CMVideoDimensions size, AVFrameRateRange* range) {
    return {static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height),
            [range maxFrameRate]};
}

CaptureDevice recordOf(AVCaptureDevice* device) {
    CaptureDevice record{utf8Text([device localizedName]), utf8Text([device uniqueID]), {}};
    for (AVCaptureDeviceFormat* format in [device formats]) {
        const CMVideoDimensions size = CMVideoFormatDescriptionGetDimensions([format formatDescription]);
        for (AVFrameRateRange* range in [format videoSupportedFrameRateRanges])
            record.profiles.push_back(profileOf(size, range));
    }
    return record;
}

// Deprecated for a query that has to name each kind of device and so misses kinds yet unknown.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
NSArray<AVCaptureDevice*>* allDevices() {
    return [AVCaptureDevice devices];
}
#pragma clang diagnostic pop

}  // namespace

std::vector<CaptureDevice> listCaptureDevices() {
    std::vector<CaptureDevice> records;
    @autoreleasepool {
        for (AVCaptureDevice* device in allDevices())
            if ([device hasMediaType:AVMediaTypeVideo]) records.push_back(recordOf(device));
    }
    return records;
}

}  // namespace lumetra
