// fake_capture.mm - every object is made for the caller and autoreleased, so that one that outlives the
// caller's pool is a leak of the caller's.
#include "fake_capture.h"

#import <AVFoundation/AVFoundation.h>

#include <mach-o/dyld.h>

#include <cstring>

NSString* const AVMediaTypeVideo = @"vide";
NSString* const AVMediaTypeAudio = @"soun";

std::vector<FakeDevice> fakeDevices;
Changing fakeChange = Changing::Nothing;
int liveCaptureObjects = 0;

namespace {

NSMutableArray* walkedDevices;  // the list handed out last, which may be changed during the walk
NSMutableArray* walkedFormats;
NSMutableArray* walkedRanges;

// A device that is asked adds to the list in which it is found.
void changeDuringWalk(Changing list, NSMutableArray* walked) {
    if (fakeChange == list) [walked addObject:[[[NSObject alloc] init] autorelease]];
}

NSString* stringOf(const std::optional<std::string>& text) {
    return text ? [NSString stringWithUTF8String:text->c_str()] : nil;
}

}  // namespace

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMFormatDescriptionRef description) {
    return *description;
}

int _NSGetExecutablePath(char* path, std::uint32_t* size) {
    const char folder[] = "/";
    if (*size < sizeof folder) {
        *size = sizeof folder;
        return -1;
    }
    std::memcpy(path, folder, sizeof folder);
    return 0;
}

@implementation FakeCaptureObject
- (id)init {
    ++liveCaptureObjects;
    return [super init];
}
- (void)dealloc {
    --liveCaptureObjects;
    [super dealloc];
}
@end

@implementation AVFrameRateRange
- (id)initWithRate:(double)rate {
    self = [super init];
    m_rate = rate;
    return self;
}
- (double)maxFrameRate {
    changeDuringWalk(Changing::Ranges, walkedRanges);
    return m_rate;
}
@end

@implementation AVCaptureDeviceFormat
- (id)initWithFormat:(const FakeFormat*)format {
    self = [super init];
    m_format = format;
    m_size = {format->width, format->height};
    return self;
}
- (CMFormatDescriptionRef)formatDescription {
    changeDuringWalk(Changing::Formats, walkedFormats);
    return &m_size;
}
- (NSArray<AVFrameRateRange*>*)videoSupportedFrameRateRanges {
    walkedRanges = [NSMutableArray array];
    for (const double rate : m_format->maxFrameRates)
        [walkedRanges addObject:[[[AVFrameRateRange alloc] initWithRate:rate] autorelease]];
    return walkedRanges;
}
@end

@implementation AVCaptureDevice
+ (NSArray<AVCaptureDevice*>*)devices {
    walkedDevices = [NSMutableArray array];
    for (const FakeDevice& device : fakeDevices)
        [walkedDevices addObject:[[[AVCaptureDevice alloc] initWithDevice:&device] autorelease]];
    return walkedDevices;
}
- (id)initWithDevice:(const FakeDevice*)device {
    self = [super init];
    m_device = device;
    return self;
}
- (BOOL)hasMediaType:(NSString*)mediaType {
    changeDuringWalk(Changing::Devices, walkedDevices);
    return [mediaType isEqual:m_device->video ? AVMediaTypeVideo : AVMediaTypeAudio];
}
- (NSString*)localizedName {
    return stringOf(m_device->name);
}
- (NSString*)uniqueID {
    return stringOf(m_device->uniqueId);
}
- (NSArray<AVCaptureDeviceFormat*>*)formats {
    walkedFormats = [NSMutableArray array];
    for (const FakeFormat& format : m_device->formats)
        [walkedFormats addObject:[[[AVCaptureDeviceFormat alloc] initWithFormat:&format] autorelease]];
    return walkedFormats;
}
@end
