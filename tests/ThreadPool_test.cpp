#include "core/ThreadPool.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <numeric>

#include "tests/support/waiting.h"

TEST(ThreadPool, HandsBackResultsAndExceptions) {
    ThreadPool pool(2);
    auto sum = pool.enqueue([](int a, int b) { return a + b; }, 2, 3);
    auto failure = pool.enqueue([] { throw std::logic_error("task"); });
    EXPECT_EQ(5, sum.get());
    EXPECT_THROW(failure.get(), std::logic_error);
}

TEST(ThreadPool, OneWorkerRunsTasksInTheirOrderEvenPastAThrowingOne) {
    std::vector<int> order;
    {
        ThreadPool pool(1);
        for (int i = 0; i < 100; ++i)
            pool.enqueue([&order, i] {
                order.push_back(i);
                if (i % 10 == 0) throw i;
            });
    }
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(expected, order) << "the destructor runs what is queued";
}

TEST(ThreadPool, WithoutWorkersDropsItsTasksUnrun) {
    bool ran = false;
    {
        ThreadPool(0).enqueue([&ran] { ran = true; });
    }
    EXPECT_FALSE(ran);
}

TEST(ThreadPool, ReleasesArgumentsAfterTheCall) {
    ThreadPool pool(1);
    auto argument = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = argument;
    pool.enqueue([](const std::shared_ptr<int>&) {}, std::move(argument));
    waitUntil([&] { return watched.expired(); });
}

TEST(ThreadPool, LettingGoOfAResultDoesNotWait) {
    std::promise<void> gate;
    ThreadPool pool(1);
    pool.enqueue([opened = gate.get_future().share()] { opened.wait(); });  // a future that waits hangs here
    gate.set_value();
}

TEST(ThreadPool, RefusesTasksOnceItsEndHasBegun) {
    std::string refusal;
    {
        ThreadPool pool(1);
        pool.enqueue([&] {
            try {
                for (;;) {
                    pool.enqueue([] {});
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            } catch (const std::runtime_error& error) {
                refusal = error.what();
            }
        });
    }
    EXPECT_EQ("enqueue on stopped ThreadPool", refusal);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
TEST(ThreadPoolDeathTest, EndsTheProcessInsteadOfHangingWhenALaterWorkerCannotStart) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto startWithoutRoom = [] {
        const rlimit limit = {1UL << 30, 1UL << 30};
        setrlimit(RLIMIT_AS, &limit);
        ThreadPool pool(100000);
    };
    EXPECT_DEATH(startWithoutRoom(), "");
}
#endif
