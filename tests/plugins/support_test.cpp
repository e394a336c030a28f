// support_test.cpp - what the shipped modules share, and the public header for their results.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "LumetraCore/TextResults.h"
#include "plugins/support/frame_times.h"
#include "plugins/support/host_log.h"
#include "plugins/support/json_members.h"

namespace {

std::u16string logged;
std::atomic<bool> mayReturn, isRunning;

void keep(std::int32_t, const char16_t* text) {
    logged = text;
}

HostLog& logTo(HostLog& log, LUMETRA_LOGFN function) {
    log.set(reinterpret_cast<void*>(function));
    return log;
}

TEST(HostLog, CarriesTextAndMarksWhatIsNone) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"a\u00e4\u20ac\U0001f3a5", u"a\u00e4\u20ac\U0001f3a5"},
        {"a\nb\x7f" + std::string(1, '\0'), u"a?b??"},
        {"\xffx", u"\ufffdx"},
        {"x\xf0\x9f\x8e", u"x\ufffd\ufffd\ufffd"},          // cut off
        {"\xc0\x80", u"\ufffd\ufffd"},                      // longer than needed
        {"\xe0\x9f\xbf", u"\ufffd\ufffd\ufffd"},            // likewise
        {"\xed\xa0\x80", u"\ufffd\ufffd\ufffd"},            // half a character
        {"\xf8\x9f\x8e\xa5", u"\ufffd\ufffd\ufffd\ufffd"},  // no beginning
        {"\xf4\x90\x80\x80", u"\ufffd\ufffd\ufffd\ufffd"},  // beyond the last one
        {"\xe2\x82/\xe2\x82\xac", u"\ufffd\ufffd/\u20ac"}};
    HostLog log;
    logTo(log, keep);
    for (const auto& [bytes, text] : cases) {
        EXPECT_TRUE(log.write(0, bytes));
        EXPECT_EQ(text, logged) << bytes;
    }
}

TEST(HostLog, SaysWhetherSomebodyRead) {
    HostLog log;
    EXPECT_FALSE(log.write(0, "nobody"));
    logTo(log, [](std::int32_t, const char16_t*) { throw std::runtime_error("full"); });
    EXPECT_FALSE(log.write(0, "a sink that fails"));
    EXPECT_TRUE(logTo(log, keep).write(0, "somebody"));
}

TEST(HostLog, WaitsForTheFunctionThatItTakesBack) {
    HostLog log;
    logTo(log, [](std::int32_t, const char16_t*) {
        isRunning = true;
        while (!mayReturn) std::this_thread::yield();
        isRunning = false;
    });
    std::thread writer([&] { log.write(0, "x"); });
    while (!isRunning) std::this_thread::yield();
    std::thread releaser([] { mayReturn = true; });
    log.set(nullptr);
    EXPECT_FALSE(isRunning);
    writer.join();
    releaser.join();
}

#if defined(__GLIBCXX__)  // clang's own library cannot throw on what is no exception
TEST(HostLog, LetsAThreadEndInsideTheFunction) {
    HostLog log;
    logTo(log, [](std::int32_t, const char16_t*) { pthread_exit(nullptr); });
    bool returned = false;
    std::thread([&] { returned = log.write(0, "x") || true; }).join();
    EXPECT_FALSE(returned);
    log.set(nullptr);  // the lock is free again
}
#endif

TEST(JsonMembers, AreMissingUnlessTheyHaveTheType) {
    const JsonMembers members(R"({"i":-7,"wide":4294967296,"wider":18446744073709551615,"f":1.5,"one":1.0,)"
                              R"("t":true,"s":"\u00e4","nothing":null,"o":{"i":9,"in":9},"a":["in",8]})");
    EXPECT_EQ(-7, members.integer<std::int32_t>("i"));
    EXPECT_EQ(std::nullopt, members.integer<std::uint32_t>("i"));
    EXPECT_EQ(std::nullopt, members.integer<std::int32_t>("wide"));
    EXPECT_EQ(4294967296, members.integer<std::int64_t>("wide"));
    EXPECT_EQ(18446744073709551615.0, members.number("wider"));
    EXPECT_EQ(1.5, members.number("f"));
    EXPECT_EQ(-7.0, members.number("i"));
    EXPECT_EQ(true, members.boolean("t"));
    EXPECT_EQ("\u00e4", members.string("s"));
    for (const char* other : {"wider", "f", "one", "t", "s", "nothing", "o", "a", "in", "none"})
        EXPECT_EQ(std::nullopt, members.integer<std::int64_t>(other)) << other;
    for (const char* other : {"i", "f", "s", "nothing"}) EXPECT_EQ(std::nullopt, members.boolean(other));
    for (const char* other : {"i", "t", "nothing", "a"}) EXPECT_EQ(std::nullopt, members.string(other));
}

TEST(JsonMembers, AreNoneWhereTheTextIsNoObject) {
    const std::string object = R"({"i":1)", open(2'000'000, '[');
    for (const std::string& text :
         {std::string(), object, object + "} x", object + R"(,"s":"\ud800"})", object + R"(,"s":"\udc00"})",
          object + ",\"s\":\"\xff\"}", object + ",\"f\":1e999}", "[" + object + "}]",
          std::string(R"([{"i":2},1])"), open, object + ",\"a\":" + open})
        EXPECT_EQ(std::nullopt, JsonMembers(text.c_str()).integer<int>("i")) << text.substr(0, 50);
    EXPECT_EQ(std::nullopt, JsonMembers(nullptr).integer<int>("i"));
    EXPECT_EQ(1, JsonMembers((R"({"a":)" + open + std::string(open.size(), ']') + R"(,"i":1})").c_str())
                     .integer<int>("i"));
}

TEST(FrameTimes, TellOvertakenFramesFromAClockThatWasSetBack) {
    EXPECT_FALSE(wasOvertaken(5000, 5000));
    EXPECT_FALSE(wasOvertaken(5001, 5000));
    EXPECT_TRUE(wasOvertaken(4999, 5000));
    EXPECT_TRUE(wasOvertaken(4001, 5000));
    EXPECT_FALSE(wasOvertaken(4000, 5000));
}

TEST(FrameTimes, HavePercentilesThatAreValuesOfTheirOwn) {
    const std::vector<std::int64_t> values = {10, 20, 30, 40};
    EXPECT_EQ(20, percentile(values, 50));
    EXPECT_EQ(30, percentile(values, 51));
    EXPECT_EQ(40, percentile(values, 99));
    EXPECT_EQ(40, percentile(values, 100));
    EXPECT_EQ(10, percentile(std::vector<std::int64_t>{10}, 1));
    EXPECT_EQ(0, percentile({}, 99));
}

TEST(TextResults, ReachTheHostUntilItTakesItsFunctionBack) {
    lumetra::TextResults results;
    EXPECT_FALSE(results.write("{}"));
    std::string heard;
    const LUMETRA_TEXTRESULTFN listen = [](void* user, const char* text) {
        static_cast<std::string*>(user)->append(text);
        if (std::string(text) == "[]") throw std::runtime_error("not an object");
    };
    results.set(reinterpret_cast<void*>(listen), &heard);
    EXPECT_TRUE(results.write("{}"));
    EXPECT_FALSE(results.write("[]")) << "what the host throws ends there";
    results.set(nullptr, nullptr);
    EXPECT_FALSE(results.write("{}"));
    EXPECT_EQ("{}[]", heard);
}

}  // namespace
