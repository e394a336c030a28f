// The exported functions as a host calls them, from the first to the last.
#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>

#include "LumetraCore/LumetraCore.h"
#include "LumetraCore/PGM_FUNCTIONS.h"
#include "core/LumetraCoreExecutor.h"
#include "tests/modules/recorder.h"
#include "tests/support/configurations.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

namespace {

constexpr char16_t LONE_SURROGATE[] = {u'a', 0xD800, 0};

int configure(int width, int height, int format, const char* rest = "") {
    return LumetraCore_command(
        0, LUMETRA_CMD_CONFIGURE,
        convertUTFFormat8toV<char, char16_t>(configurationText(width, height, format, rest)).c_str());
}

class Interface : public testing::Test {
protected:
    Interface() { LumetraCore_initialize(); }
    ~Interface() override { LumetraCore_destroy(); }
};

}  // namespace

TEST(InterfaceWithoutEngine, GivesEveryFunctionsNeutralValue) {
    for (int round = 0; round < 2; ++round) {  // before the first engine, and after one
        LUMETRA_CBTYPE kinds[4];
        EXPECT_EQ(0, LumetraCore_command(0, LUMETRA_CMD_START, LONE_SURROGATE)) << "not even converted";
        EXPECT_EQ(-1, LumetraCore_registerDllByName(u"Recorder"));
        EXPECT_EQ(0, LumetraCore_initializeDllByName(u"Recorder", u""));
        EXPECT_EQ(0, LumetraCore_initializeDllByID(7, u""));
        EXPECT_EQ(0, LumetraCore_unregisterDllByID(7));
        EXPECT_EQ(0, LumetraCore_unregisterDllByName(u"Recorder"));
        EXPECT_EQ(0, LumetraCore_registerCallback(0, CB_LOG, nullptr, nullptr));
        EXPECT_EQ(0, LumetraCore_unregisterCallback(0, CB_LOG));
        EXPECT_EQ(-1, LumetraCore_getSupportedCallbacks(0, kinds));
        EXPECT_EQ(3, LumetraCore_getStatus(0));
        EXPECT_EQ(0, LumetraCore_pushImageData(nullptr, 0, u"", 0));
        EXPECT_EQ(0, LumetraCore_setNativeTexturePointer(nullptr, u""));
        LumetraCore_passLogFromNativeLib(u"nobody");
        LumetraCore_destroy();
        LumetraCore_initialize();
        LumetraCore_destroy();
    }
}

TEST_F(Interface, TakesNullForAnEmptyTextAndLeavesNullBuffersAlone) {
    EXPECT_EQ(0, LumetraCore_command(0, LUMETRA_CMD_CONFIGURE, nullptr));
    EXPECT_EQ(0, LumetraCore_registerDllByName(nullptr));
    EXPECT_EQ(0, LumetraCore_initializeDllByName(nullptr, nullptr));
    ASSERT_EQ(7, LumetraCore_registerDllByName(u"Recorder"));
    EXPECT_EQ(1, LumetraCore_initializeDllByID(7, nullptr));
    EXPECT_EQ(44, LumetraCore_command(7, LUMETRA_CMD_START, nullptr));
    EXPECT_THAT(recorder("Recorder")->takeCalls(),
                testing::ElementsAre("getModuleID", "initialize ", "command 3 "));
    EXPECT_EQ(1, LumetraCore_unregisterDllByID(7));
    EXPECT_EQ(0, LumetraCore_unregisterDllByName(nullptr));
    for (const int id : {0, 7}) EXPECT_EQ(0, LumetraCore_getSupportedCallbacks(id, nullptr));
    EXPECT_EQ(1, LumetraCore_setNativeTexturePointer(this, nullptr));
    LumetraCore_passLogFromNativeLib(nullptr);
    LumetraCore_getDeviceInfo(nullptr, 0);
    LumetraCore_enumerateAVDevicesNative(nullptr, 0);

    configure(2, 2, 4);
    const unsigned char pixels[8] = {};
    EXPECT_EQ(1, LumetraCore_pushImageData(pixels, 8, nullptr, 0));
    EXPECT_EQ(1, LumetraCore_pushImageData(nullptr, 0, u"", 0));
    EXPECT_EQ(0, LumetraCore_pushImageData(nullptr, 1, u"", 0));
    EXPECT_EQ(1, LumetraCoreExecutor::pushNativeImage(lumcore_exec, pixels, 8, nullptr, 0));

    int side = 0;
    EXPECT_EQ(nullptr, read_pgm(nullptr, &side, &side));
    EXPECT_EQ(nullptr, read_ppm("/dev/null", nullptr, &side));
    EXPECT_EQ(0, write_pgm("/dev/null", nullptr, nullptr, 3, 2));
    EXPECT_EQ(-1, write_pgm(nullptr, "", nullptr, 3, 2));
}

TEST_F(Interface, HasOneEngineHoweverOftenItIsInitialized) {
    const LumetraCoreExecutor* const engine = lumcore_exec;
    LumetraCore_initialize();
    EXPECT_EQ(engine, lumcore_exec);
    EXPECT_EQ(STATUS_READY, LumetraCore_getStatus(0));
    LUMETRA_CBTYPE kinds[2] = {};
    EXPECT_EQ(2, LumetraCore_getSupportedCallbacks(0, kinds));
}

TEST_F(Interface, RefusesUnpairedSurrogatesBeforeAnythingHappens) {
    const LogCapture log(*lumcore_exec);
    const std::function<void()> calls[] = {
        [] { LumetraCore_command(0, LUMETRA_CMD_START, LONE_SURROGATE); },
        [] { LumetraCore_registerDllByName(LONE_SURROGATE); },
        [] { LumetraCore_initializeDllByName(LONE_SURROGATE, u""); },
        [] { LumetraCore_initializeDllByName(u"", LONE_SURROGATE); },
        [] { LumetraCore_initializeDllByID(7, LONE_SURROGATE); },
        [] { LumetraCore_unregisterDllByName(LONE_SURROGATE); },
        [] { LumetraCore_pushImageData(nullptr, 0, LONE_SURROGATE, 0); },
        [] { LumetraCore_setNativeTexturePointer(nullptr, LONE_SURROGATE); },
        [] { LumetraCore_passLogFromNativeLib(LONE_SURROGATE); },
    };
    for (const auto& call : calls) EXPECT_THROW(call(), std::range_error);
    EXPECT_THAT(LogCapture::take(), testing::IsEmpty());
}

TEST_F(Interface, CarriesTextBeyondTheBasicPlane) {
    const LogCapture log(*lumcore_exec);
    LumetraCore_passLogFromNativeLib(u"\U0001F600");
    LumetraCore_passLogFromNativeLib(u"");
    EXPECT_THAT(LogCapture::take(), testing::ElementsAre("\xF0\x9F\x98\x80", ""));
}

TEST_F(Interface, TakesAFrameAllTheWayToAModule) {
    const LogCapture log(*lumcore_exec);
    ASSERT_EQ(7, LumetraCore_registerDllByName(u"Recorder"));
    ASSERT_EQ(1, configure(6, 4, 1, ",\"mipMap\":true"));
    const Bytes frame = randomBytes(93, 1);  // 6x4, 3x2 and 1x1 pixels of 3 bytes
    std::vector<Notification> notifications;
    repeatUntil([&] { ASSERT_EQ(1, LumetraCore_pushImageData(frame.data(), 93, u"{\"n\":\"\u20AC\"}", 12)); },
                [&] { return !(notifications = recorder("Recorder")->takeNotifications()).empty(); });
    const IChnk& chunk = *notifications[0].chunk;
    EXPECT_EQ(LUMETRA_IMGFORMAT_GRAY8, chunk.format);
    EXPECT_EQ("{\"n\":\"\xE2\x82\xAC\"}", chunk.descriptor);
    EXPECT_EQ(12, chunk.frameIndex);
    const auto expectFlipped = [&](std::size_t k, std::size_t begin, std::size_t width, std::size_t height) {
        for (std::size_t i = 0; i < width * height; ++i) {
            const std::uint8_t* const p = &frame[begin + 3 * ((height - 1 - i / width) * width + i % width)];
            EXPECT_EQ(expectedGrey(p[0], p[1], p[2]), chunk.data->lvl[k][i]) << "level " << k << ", " << i;
        }
    };
    expectFlipped(0, 0, 6, 4);  // upside down by default
    expectFlipped(1, 72, 3, 2);
    notifications.clear();
    EXPECT_EQ(1, LumetraCore_unregisterDllByName(u"Recorder"));
}

// The notification of the first of two frames in a millisecond finds the second, converted or not.
TEST_F(Interface, DeliversConvertedFramesOnlyHoweverManySharedAMillisecond) {
    configure(320, 240, 5, ",\"conversionflags\":1");
    ASSERT_EQ(9, LumetraCore_registerDllByName(u"RecorderNine"));
    const auto push = [](unsigned seed) {
        const Bytes frame(320 * 240 * 3);
        std::mt19937 random(seed);
        for (int i = 0; i < 1000; ++i) {
            LumetraCore_pushImageData(frame.data(), static_cast<int>(frame.size()), u"{}", i);
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
        }
    };
    std::thread first(push, 1), second(push, 2);
    first.join();
    second.join();
    std::vector<Notification> notifications;
    waitUntil([&] { return !(notifications = recorder("RecorderNine")->takeNotifications()).empty(); });
    for (const Notification& notification : notifications)
        ASSERT_EQ(LUMETRA_IMGFORMAT_GRAY8, notification.format);
    notifications.clear();
    EXPECT_EQ(1, LumetraCore_unregisterDllByID(9));
}

// For the sanitizers above all: everything that may overlap, overlapping.
TEST_F(Interface, StaysSoundWhileEverythingChangesUnderFlowingFrames) {
    const LogCapture log(*lumcore_exec);
    std::atomic<bool> stop = false;
    std::vector<std::thread> hosts;
    for (int host = 0; host < 2; ++host)
        hosts.emplace_back([&stop, host] {
            const Bytes frame(64 * 48 * 4);
            for (int i = 0; !stop; ++i) {
                LumetraCore_pushImageData(frame.data(), static_cast<int>(frame.size()), u"{}", i);
                std::this_thread::sleep_for(std::chrono::microseconds(700 + 300 * host));
            }
        });
    hosts.emplace_back([&stop] {
        while (!stop) {
            for (const int format : {7, 4, 1}) {
                configure(64 - format, 48, format, format != 4 ? ",\"mipMap\":true" : "");
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(&LogCapture::sink), nullptr);
            LogCapture::take();
        }
    });
    for (int round = 0; round < 30; ++round) {
        EXPECT_EQ(9, LumetraCore_registerDllByName(u"RecorderNine"));
        EXPECT_EQ(45, LumetraCore_getStatus(9));
        waitUntil([] { return !recorder("RecorderNine")->takeNotifications().empty(); });
        EXPECT_EQ(1, LumetraCore_unregisterDllByID(9));
    }
    stop = true;
    for (auto& host : hosts) host.join();
}

TEST(InterfaceWithoutEngine, WritesTheDeviceTextsWithTheirEnd) {
    std::u16string buffer(LUMETRA_DEVICE_TEXT_UNITS, u'#');
    for (const auto& [call, beginning] :
         {std::pair(&LumetraCore_getDeviceInfo, R"({"os":"iOS","type":"flat","name":")"),
          std::pair(&LumetraCore_enumerateAVDevicesNative, R"({"videoInputDevices":[)")}) {
        buffer.assign(buffer.size(), u'#');
        call(buffer.data(), 0);
        const std::size_t end = buffer.find(u'\0');
        const std::string text = convertUTFFormatVto8<char16_t, char>(buffer.substr(0, end));
        EXPECT_THAT(text, testing::AllOf(testing::StartsWith(beginning), testing::EndsWith("}")));
        EXPECT_EQ(u'#', buffer.at(end + 1));
    }
}
