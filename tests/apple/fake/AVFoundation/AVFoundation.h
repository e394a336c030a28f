// AVFoundation.h - the few capture classes that the library uses, as a test plays them on other systems.
// One thread. Public declarations follow the platform's; the fields, which this runtime wants here, point
// into the test's own records.
#ifndef LUMETRA_TESTS_APPLE_AVFOUNDATION_H
#define LUMETRA_TESTS_APPLE_AVFOUNDATION_H

#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>

extern NSString* const AVMediaTypeVideo;
extern NSString* const AVMediaTypeAudio;

struct FakeFormat;
struct FakeDevice;

/// Counts the capture objects that are alive.
@interface FakeCaptureObject : NSObject
@end

@interface AVFrameRateRange : FakeCaptureObject {
    double m_rate;
}
@property(readonly, nonatomic) double maxFrameRate;
@end

@interface AVCaptureDeviceFormat : FakeCaptureObject {
    const FakeFormat* m_format;
    CMVideoDimensions m_size;
}
@property(readonly, nonatomic) CMFormatDescriptionRef formatDescription;
@property(readonly, nonatomic) NSArray<AVFrameRateRange*>* videoSupportedFrameRateRanges;
@end

@interface AVCaptureDevice : FakeCaptureObject {
    const FakeDevice* m_device;
}
+ (NSArray<AVCaptureDevice*>*)devices __attribute__((deprecated));
- (BOOL)hasMediaType:(NSString*)mediaType;
@property(readonly, nonatomic) NSString* localizedName;
@property(readonly, nonatomic) NSString* uniqueID;
@property(readonly, nonatomic) NSArray<AVCaptureDeviceFormat*>* formats;
@end

#endif
