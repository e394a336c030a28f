// device_info_test.cpp - the description's text, and its rules under every outcome of the system calls.
#include "platform/device_info.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

using namespace lumetra;

namespace {

TEST(DeviceInfo, WritesFourTextsAndUnknownForWhatIsMissing) {
    EXPECT_EQ(R"({"os":"iOS","type":"flat","name":"unknown","callingexe":"unknown"})", writeDeviceInfo({}));
    EXPECT_EQ(R"({"os":"iOS","type":"flat","name":"my \"phone\"","callingexe":"/apps/a\\b"})",
              writeDeviceInfo({"my \"phone\"", "/apps/a\\b"}));
}

// Plays the two queries of the executable path and records what is resolved.
struct FakeSystem {
    std::string path = "/link";
    int secondResult = 0;
    bool resolves = true;
    int queries = 0;
    std::vector<std::string> asked;

    DeviceCalls calls() {
        return {[](char* name, std::size_t) { return std::strcpy(name, "host"), 0; },
                [this](char* buffer, std::uint32_t* size) { return query(buffer, *size); },
                [this](const char* given, char* resolved, std::size_t size) {
                    asked.emplace_back(given);
                    EXPECT_EQ(1024u, size);
                    return resolves ? std::strcpy(resolved, "/real") : nullptr;
                }};
    }

    int query(char* buffer, std::uint32_t& size) {
        if (++queries == 2) {
            EXPECT_EQ(path.size() + 1, size);
            path.copy(buffer, size - 1);  // as far as it goes: the end is the caller's to mind
            return secondResult;
        }
        const auto needed = static_cast<std::uint32_t>(path.size() + 1);
        if (needed > size) {
            size = needed;
            return -1;
        }
        std::memcpy(buffer, path.c_str(), needed);
        return 0;
    }
};

TEST(DeviceInfo, FindsTheExecutablePathByTheResultOfEachQuery) {
    const std::string longest(1023, 'p'), tooLong(1024, 'p'), farTooLong(5000, 'p');
    const struct {
        std::string path;
        int secondResult;
        bool resolves;
        int queries;
        std::optional<std::string> found;
    } cases[] = {
        {"/link", 0, true, 1, "/real"},     {"/link", 0, false, 1, std::nullopt},
        {longest, 0, true, 1, "/real"},     {tooLong, 0, true, 2, std::nullopt},
        {farTooLong, -1, true, 2, "/real"}, {tooLong, -1, false, 2, std::nullopt},
    };
    for (const auto& rule : cases) {
        FakeSystem system{rule.path, rule.secondResult, rule.resolves, 0, {}};
        const auto found = findDeviceFacts(system.calls()).executablePath;
        const std::string what = std::to_string(rule.path.size()) + " bytes, " +
                                 std::to_string(rule.secondResult) + ", " + std::to_string(rule.resolves);
        EXPECT_EQ(rule.found, found) << what;
        EXPECT_EQ(rule.queries, system.queries) << what;
        const bool skipsResolution = rule.queries == 2 && rule.secondResult == 0;
        EXPECT_EQ(skipsResolution ? std::vector<std::string>() : std::vector{rule.path}, system.asked)
            << what;
    }
}

TEST(DeviceInfo, MindsFailingAndUnendedHostNames) {
    DeviceCalls calls = FakeSystem().calls();
    calls.executablePath = [](char*, std::uint32_t*) { return -1; };  // and nothing in the buffer
    calls.resolvePath = [](const char* path, char*, std::size_t) {
        EXPECT_STREQ("", path);
        return static_cast<char*>(nullptr);
    };
    EXPECT_EQ("host", findDeviceFacts(calls).hostName);

    calls.hostName = [](char* name, std::size_t size) { return std::memset(name, 'h', size), 0; };
    EXPECT_EQ(std::string(1023, 'h'), findDeviceFacts(calls).hostName);

    calls.hostName = [](char* name, std::size_t) { return std::strcpy(name, "h\xFFst"), 0; };
    EXPECT_EQ("h\xEF\xBF\xBDst", findDeviceFacts(calls).hostName);

    calls.hostName = [](char*, std::size_t) { return -1; };
    EXPECT_EQ(std::nullopt, findDeviceFacts(calls).hostName);
}

TEST(DeviceInfo, DescribesThisMachineAndProgram) {
    std::string text = "old";
    getDeviceInfo(text, 7);
    rapidjson::Document info;
    ASSERT_FALSE(info.Parse(text.c_str()).HasParseError()) << text;
    utsname machine = {};
    ASSERT_EQ(0, uname(&machine));
    EXPECT_STREQ(machine.nodename, info["name"].GetString());
#if defined(__linux__)
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe"), info["callingexe"].GetString());
#endif
}

TEST(DeviceInfo, QueriesThePathOnlyIntoRoomForItsEnd) {
    std::uint32_t needed = 0;
    ASSERT_EQ(-1, queryExecutablePath(nullptr, &needed));
    std::string path(needed, '#');
    std::uint32_t size = needed - 1;
    EXPECT_EQ(-1, queryExecutablePath(path.data(), &size));
    EXPECT_EQ(needed, size);
    EXPECT_EQ(std::string(needed, '#'), path);
    EXPECT_EQ(0, queryExecutablePath(path.data(), &size));
    EXPECT_EQ(needed - 1, std::strlen(path.c_str()));
}

TEST(DeviceInfo, ResolvesPathsThatFitOnly) {
    const DeviceCalls calls = systemDeviceCalls();
    const std::string folder = std::filesystem::canonical(".");
    std::string resolved(folder.size() + 1, '#');
    EXPECT_EQ(resolved.data(), calls.resolvePath("././", resolved.data(), folder.size() + 1));
    EXPECT_EQ(folder, resolved.c_str());
    EXPECT_EQ(nullptr, calls.resolvePath("././", resolved.data(), folder.size()));
    EXPECT_EQ(nullptr, calls.resolvePath("./no such file", resolved.data(), resolved.size()));
}

}  // namespace
