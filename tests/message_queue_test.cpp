#include "core/message_queue.h"

#include <gtest/gtest.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

#include <atomic>
#include <thread>

#include "core/load_limits.h"
#include "tests/support/waiting.h"

using namespace lumetra;
using std::chrono::steady_clock;

namespace {

constexpr std::uint64_t LONG_AGO = 1;

void askFor(MessageQueue& queue, std::size_t messages) {
    for (std::size_t i = 0; i < messages; ++i) queue.post({MSG_CONVERT, LONG_AGO});
}

void takeOne(MessageQueue& queue) {
    queue.takeOne([](const MSGS&, bool) {});
}

void endLongSleeps(MessageQueue::SteadyTime bound) {
    MessageQueue queue;
    std::atomic<int> taken = 0, looked = 0;
    std::thread taker([&] {
        SleepPrecision precision;
        while (taken < 3) {
            if (queue.waitForTurn(bound, precision))
                queue.takeOne([&taken](const MSGS&, bool) { ++taken; });
            else
                ++looked;
        }
    });
    queue.post({MSG_NOTIFY, LONG_AGO});
    waitUntil([&] { return taken == 1; });
    queue.post({MSG_RETAIN, LONG_AGO});  // stale, so there is nothing to wait for
    waitUntil([&] { return taken == 2; });
    queue.wakeTaker();
    waitUntil([&] { return looked == 1; });
    queue.post({MSG_RETAIN, currentTimeMs()});
    taker.join();
    EXPECT_TRUE(queue.copy().empty());
}

}  // namespace

TEST(MessageQueue, EndsALongSleepOfItsTakerWithWhatIsPosted) {
    for (const auto bound : {MessageSchedule::NEVER, steady_clock::now() + std::chrono::hours(1)})
        endLongSleeps(bound);
}

TEST(MessageQueue, ReturnsToItsTakerAtTheBoundAndWhenItIsClosed) {
    MessageQueue queue;
    SleepPrecision precision;
    const auto bound = steady_clock::now() + std::chrono::milliseconds(5);
    EXPECT_FALSE(queue.waitForTurn(bound, precision));
    EXPECT_GE(steady_clock::now(), bound);

    std::thread closer([&] { queue.close(); });
    EXPECT_FALSE(queue.waitForTurn(MessageSchedule::NEVER, precision));
    closer.join();
    askFor(queue, 1);
    EXPECT_FALSE(queue.waitForTurn(MessageSchedule::NEVER, precision)) << "closed for good";
}

TEST(MessageQueue, HoldsPushersBackWhileMoreIsAskedThanIsServedInTime) {
    MessageQueue queue;
    askFor(queue, MAX_MESSAGES_ASKING + 3);
    const auto begin = steady_clock::now();
    queue.waitForRoom();
    EXPECT_GE(steady_clock::now() - begin, MAX_BACK_PRESSURE) << "nobody made room";

    std::atomic<int> through = 0;
    const auto push = [&] {
        queue.waitForRoom();
        ++through;
    };
    std::thread first(push), second(push);
    while (through < 2) {
        takeOne(queue);  // there may be nothing left; a pusher that came too late has room then
        std::this_thread::yield();
    }
    first.join();
    second.join();
}

TEST(MessageQueue, LetsNoPusherWaitOnceItIsClosed) {
    MessageQueue queue;
    askFor(queue, 10 * MAX_MESSAGES_ASKING);
    const auto letThemWait = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    std::thread pusher([&] { queue.waitForRoom(); });
    letThemWait();
    std::thread ending([&] { queue.waitForPushersToLeave(); });
    letThemWait();
    queue.close();
    pusher.join();
    ending.join();
    queue.clear();
    EXPECT_TRUE(queue.copy().empty());
}

#if defined(__linux__)
TEST(SleepPrecision, IsTheThreadsOwnUnlessItIsAskedFor) {
    prctl(PR_SET_TIMERSLACK, 0, 0, 0, 0);
    const int own = prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    SleepPrecision precision;
    precision.set(true);
    EXPECT_EQ(1, prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0));
    precision.set(false);
    EXPECT_EQ(own, prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0));
}
#endif
