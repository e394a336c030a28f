// capture_source_apple_test.mm - the Apple units over fake capture classes, run where there are no real ones.
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "fake_capture.h"
#include "platform/device_info.h"
#include "platform/device_listing.h"

using namespace lumetra;

namespace {

std::string list(std::vector<FakeDevice> devices, Changing change = Changing::Nothing) {
    fakeDevices = std::move(devices);
    fakeChange = change;
    std::string text = "old";
    enumerateAppleDevices(text, 7);
    return text;
}

std::string listing(const std::string& devices) {
    return R"({"videoInputDevices":[)" + devices + R"(],"audioInputDevices":[],"audioOutputDevices":[]})";
}

std::string profile(const std::string& number, const std::string& size, const std::string& rate) {
    return R"({"ProfileNum":)" + number + "," + size + R"(,"FramerateNumerator":)" + rate +
           R"(,"FramerateDenominator":1.0})";
}

TEST(AppleListing, IsEmptyWithoutDevices) {
    EXPECT_EQ(listing(""), list({}));
}

TEST(AppleListing, CountsCamerasAroundAMicrophoneAndARateForEachRange) {
    const std::string hd = R"("Width":1920,"Height":1080)", vga = R"("Width":640,"Height":480)";
    EXPECT_EQ(
        listing(R"({"DeviceNum":0,"DeviceName":"Rück","DeviceID":"b:0","Profiles":[)" +
                profile("0", hd, "30.0") + "," + profile("1", hd, "60.0") + "," + profile("2", vga, "120.0") +
                R"(]},{"DeviceNum":1,"DeviceName":"Front","DeviceID":"f:0","Profiles":[)" +
                profile("0", R"("Width":4294967295,"Height":1)", "29.97") + "]}"),
        list({{"Rück", "b:0", true, {{1920, 1080, {30, 60}}, {8, 8, {}}, {640, 480, {120}}}},
              {"Microphone", "m:0", false, {{1, 1, {1}}}},
              {"Front", "f:0", true, {{-1, 1, {29.97}}}}}));
}

TEST(AppleListing, KeepsNoObjectAliveAndTakesNilForNoText) {
    const std::string text = list({{std::nullopt, std::nullopt, true, {{640, 480, {30, 60}}}}});
    EXPECT_NE(std::string::npos, text.find(R"("DeviceName":"","DeviceID":"")")) << text;
    EXPECT_EQ(0, liveCaptureObjects);
}

TEST(AppleListing, RaisesWhenAListChangesWhileItIsWalked) {
    for (const Changing change : {Changing::Devices, Changing::Formats, Changing::Ranges}) {
        BOOL raised = NO;
        @autoreleasepool {
            @try {
                const FakeFormat format = {640, 480, {30, 60}};
                list({{"a", "a", true, {format, format}}, {"b", "b", true, {}}}, change);
            } @catch (NSException* exception) {
                raised = [[exception name] isEqual:NSGenericException];
            }
        }
        EXPECT_TRUE(raised) << static_cast<int>(change);
    }
}

TEST(AppleDeviceInfo, ResolvesThePathThatTheLoaderTells) {
    std::string text;
    getDeviceInfo(text, 7);
    EXPECT_NE(std::string::npos, text.find(R"("callingexe":"/"})")) << text;
}

}  // namespace
