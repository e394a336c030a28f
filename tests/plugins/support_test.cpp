// support_test.cpp - what the shipped modules share.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "plugins/support/host_log.h"

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

#if defined(__GLIBCXX__)
TEST(HostLog, LetsAThreadEndInsideTheFunction) {
    HostLog log;
    logTo(log, [](std::int32_t, const char16_t*) { pthread_exit(nullptr); });
    bool returned = false;
    std::thread([&] { returned = log.write(0, "x") || true; }).join();
    EXPECT_FALSE(returned);
    log.set(nullptr);  // the lock is free again
}
#endif

}  // namespace
