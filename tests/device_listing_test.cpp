// device_listing_test.cpp - the listing's text from plain records, and the repair of foreign bytes.
#include "platform/device_listing.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <limits>
#include <stdexcept>

#include "LumetraCore/utf_conversion.h"
#include "base/utf8_repair.h"

using namespace lumetra;

namespace {

TEST(DeviceListing, WritesEveryKeyInOrderAndNumbersFromZero) {
    EXPECT_EQ(R"({"videoInputDevices":[],"audioInputDevices":[],"audioOutputDevices":[]})",
              writeDeviceListing({}));
    EXPECT_EQ(
        R"({"videoInputDevices":[{"DeviceNum":0,"DeviceName":"Back","DeviceID":"b:0","Profiles":[)"
        R"({"ProfileNum":0,"Width":1920,"Height":1080,"FramerateNumerator":30.0,"FramerateDenominator":1.0},)"
        R"({"ProfileNum":1,"Width":1920,"Height":1080,"FramerateNumerator":60.0,"FramerateDenominator":1.0},)"
        R"({"ProfileNum":2,"Width":1280,"Height":720,"FramerateNumerator":120.0,"FramerateDenominator":1.0})"
        R"(]},{"DeviceNum":1,"DeviceName":"Front","DeviceID":"f:0","Profiles":[)"
        R"({"ProfileNum":0,"Width":640,"Height":480,"FramerateNumerator":29.97,"FramerateDenominator":1.0})"
        R"(]}],"audioInputDevices":[],"audioOutputDevices":[]})",
        writeDeviceListing({{"Back", "b:0", {{1920, 1080, 30}, {1920, 1080, 60}, {1280, 720, 120}}},
                            {"Front", "f:0", {{640, 480, 29.97}}}}));
}

TEST(DeviceListing, StaysJsonWhateverNamesAndNumbersAreGiven) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::string name = "\"Cam\\\" \x01\n\xC3\xA9" + std::string("\0end", 4);
    const std::string text = writeDeviceListing({{name,
                                                  name,
                                                  {{0xFFFFFFFF, 0x80000000, infinity},
                                                   {1, 1, -infinity},
                                                   {1, 1, std::numeric_limits<double>::quiet_NaN()},
                                                   {1, 1, 59.94005994005994}}}});
    rapidjson::Document listing;
    ASSERT_FALSE(listing.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size()).HasParseError())
        << text;
    const auto& device = listing["videoInputDevices"][0];
    EXPECT_EQ(name, std::string(device["DeviceName"].GetString(), device["DeviceName"].GetStringLength()));
    EXPECT_EQ(0xFFFFFFFF, device["Profiles"][0]["Width"].GetUint());
    EXPECT_EQ(0x80000000, device["Profiles"][0]["Height"].GetUint());
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(0.0, device["Profiles"][i]["FramerateNumerator"].GetDouble());
    EXPECT_EQ(59.94005994005994, device["Profiles"][3]["FramerateNumerator"].GetDouble());
}

TEST(DeviceListing, AnnouncesItselfAndReplacesWhatTheTextHeld) {
    std::string text = "old", announced = "old";
    testing::internal::CaptureStdout();
    enumerateAppleDevices(text, 7);
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    testing::internal::CaptureStdout();
    enumerateAVDevicesNative(announced, 7);
    EXPECT_EQ("Enumerating Devices...\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0u, text.find(R"({"videoInputDevices":[)")) << text;
    EXPECT_EQ(text, announced);
}

// The engine's strict conversion is the judge of what is valid.
TEST(Utf8Repair, ChangesJustWhatTheConversionRefuses) {
    const std::string alphabet =
        "a\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4\xF5\xFF";
    std::size_t refused = 0, accepted = 0;
    for (const char first : alphabet)
        for (const char second : alphabet)
            for (const char third : alphabet)
                for (const char fourth : alphabet) {
                    const std::string bytes = {first, second, third, fourth};
                    bool valid = true;
                    try {
                        convertUTFFormat8toV<char, char16_t>(bytes);
                    } catch (const std::range_error&) {
                        valid = false;
                    }
                    ++(valid ? accepted : refused);
                    ASSERT_NO_THROW((convertUTFFormat8toV<char, char16_t>(repairUtf8(bytes))));
                    ASSERT_EQ(valid, repairUtf8(bytes) == bytes) << testing::PrintToString(bytes);
                }
    EXPECT_LT(100u, accepted);
    EXPECT_LT(100u, refused);
    EXPECT_EQ("\xEF\xBF\xBD\xC3\xA9", repairUtf8("\xF0\xC3\xA9"));  // a cut sequence costs no other
    EXPECT_EQ("\xEF\xBF\xBD", repairUtf8({"\xC3\xA9", 1}));         // and ends with its view
}

}  // namespace
