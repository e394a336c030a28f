#include "core/standard_log.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <stdexcept>

#include "base/foreign_call.h"
#include "core/LumetraCoreExecutor.h"
#include "tests/support/log_capture.h"

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST(Logging, StandardSinkWritesOneLinePerText) {
    CaptureStdout();
    stdlog(0, u"abc");
    stdlog(-3, u"");
    stdlog(0, u"\U0001F600");
    EXPECT_EQ(
        "---- STDLOG on DLL 0: abc ----\n"
        "---- STDLOG on DLL -3:  ----\n"
        "---- STDLOG on DLL 0: \xF0\x9F\x98\x80 ----\n",
        GetCapturedStdout());
}

TEST(Logging, GoesToStandardOutputUntilReplacedAndAgainAfterwards) {
    CaptureStdout();
    LumetraCoreExecutor engine;
    const std::uint32_t processors = std::thread::hardware_concurrency();
    EXPECT_EQ("---- STDLOG on DLL 0: Number of threads: " +
                  std::to_string(processors > 3 ? processors - 1 : 2) + " ----\n",
              GetCapturedStdout());

    CaptureStdout();
    {
        const LogCapture log(engine);  // announced through the old sink
        engine.passLogFromNativeLib("to the host");
        EXPECT_THAT(LogCapture::take(), ElementsAre("to the host"));
        engine.unregisterCallback(ENGINE_MODULE_ID, CB_LOG);
        EXPECT_THAT(LogCapture::take(), ElementsAre("Unregistering Callback!"));
    }
    engine.passLogFromNativeLib("back");
    EXPECT_EQ("---- STDLOG on DLL 0: Registering Callback! ----\n---- STDLOG on DLL 0: back ----\n",
              GetCapturedStdout());
}

TEST(Logging, WithoutASinkDropsTheText) {
    LumetraCoreExecutor engine;
    engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, nullptr, nullptr);
    CaptureStdout();
    engine.passLogFromNativeLib("nobody");
    EXPECT_EQ("", GetCapturedStdout());
}

TEST(Logging, ASinkThatThrowsCostsNothingAndCanBeReplaced) {
    LumetraCoreExecutor engine;
    const LUMETRA_LOGFN throwing = [](std::int32_t, const char16_t*) { throw std::runtime_error("sink"); };
    engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(throwing), nullptr);
    EXPECT_EQ(1, engine.command(ENGINE_MODULE_ID, LUMETRA_CMD_START, ""));
    const LogCapture log(engine);
    engine.passLogFromNativeLib("well");
    EXPECT_THAT(LogCapture::take(), ElementsAre("well"));
}

#if defined(__GLIBCXX__)
TEST(ForeignCall, LetsTheEndOfItsThreadThrough) {
    pthread_t thread;
    const auto run = [](void*) -> void* {
        lumetra::callSafely([] { pthread_exit(nullptr); });
        return reinterpret_cast<void*>(1);
    };
    ASSERT_EQ(0, pthread_create(&thread, nullptr, run, nullptr));
    void* result = &thread;
    EXPECT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(nullptr, result);
}
#endif

TEST(Logging, RefusesATextThatIsNoUtf8BeforeTheSinkIsCalled) {
    LumetraCoreExecutor engine;
    const LogCapture log(engine);
    EXPECT_THROW(engine.passLogFromNativeLib("\xFF"), std::range_error);
    EXPECT_THAT(LogCapture::take(), ElementsAre());
}
