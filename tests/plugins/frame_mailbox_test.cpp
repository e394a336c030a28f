// frame_mailbox_test.cpp - frames that wait for a module's own worker.
#include "LumetraCore/FrameMailbox.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using lumetra::FrameMailbox;

std::shared_ptr<IChnk> frame(int index) {
    return std::make_shared<IChnk>(0, 0, LUMETRA_IMGFORMAT_GRAY8, index, "");
}

// Work that records its frames and waits at the first one until it is released.
struct HeldWork {
    FrameMailbox::Work work() {
        return [this](std::uint64_t, const IChnk& chunk) {
            if (seen.empty()) {
                begun.set_value();
                released.get_future().wait();
            }
            seen.push_back(chunk.frameIndex);
        };
    }

    std::promise<void> begun, released;
    std::vector<int> seen;  // read after drain() or stop()
};

TEST(FrameMailbox, BlocksSignalsOnItsWorkerAlone) {
    const auto isBlocked = [] {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        return sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGSEGV) == 0;
    };
    bool ofWorker = false;
    FrameMailbox mailbox;
    mailbox.start([&](std::uint64_t, const IChnk&) { ofWorker = isBlocked(); });
    mailbox.put(1, frame(1));
    mailbox.drain();
    EXPECT_TRUE(ofWorker);
    EXPECT_FALSE(isBlocked()) << "the starter's own mask is back";
}

TEST(FrameMailbox, SkipsAllButTheNewestWhileItsWorkIsBusy) {
    HeldWork held;
    FrameMailbox mailbox;
    mailbox.start(held.work());
    EXPECT_TRUE(mailbox.put(1000, frame(1)));
    held.begun.get_future().wait();
    const std::shared_ptr<IChnk> replaced = frame(2);
    EXPECT_TRUE(mailbox.put(1001, replaced));
    EXPECT_TRUE(mailbox.put(1003, frame(4)));
    EXPECT_EQ(1, replaced.use_count()) << "a frame that is skipped goes back to the engine at once";
    EXPECT_FALSE(mailbox.put(1002, frame(3))) << "overtaken";
    EXPECT_FALSE(mailbox.put(1004, nullptr));
    held.released.set_value();
    mailbox.drain();
    EXPECT_EQ((std::vector{1, 4}), held.seen);
    EXPECT_TRUE(mailbox.put(2, frame(5))) << "the clock was set back";
    mailbox.drain();
    EXPECT_EQ((std::vector{1, 4, 5}), held.seen);
    const FrameMailbox::Counts counts = mailbox.counts();
    EXPECT_EQ(5U, counts.put);
    EXPECT_EQ(3U, counts.done);
    EXPECT_EQ(2U, counts.skipped);
}

TEST(FrameMailbox, DeliversNothingAfterItsEndAndStartsAgain) {
    HeldWork held;
    FrameMailbox mailbox;
    mailbox.stop();  // never started
    mailbox.drain();
    EXPECT_FALSE(mailbox.put(1, frame(1)));
    mailbox.start(held.work());
    mailbox.put(2, frame(2));
    held.begun.get_future().wait();
    const std::shared_ptr<IChnk> left = frame(3);
    mailbox.put(3, left);
    std::thread end([&] { mailbox.stop(); });
    while (left.use_count() > 1) std::this_thread::yield();
    EXPECT_FALSE(mailbox.put(4, frame(4))) << "ended, though work is under way";
    held.released.set_value();
    end.join();
    mailbox.stop();
    EXPECT_EQ((std::vector{2}), held.seen);
    for (const int index : {5, 6}) {
        mailbox.start(held.work());  // the second time while it runs
        EXPECT_TRUE(mailbox.put(1, frame(index)));
        mailbox.drain();
    }
    EXPECT_EQ((std::vector{2, 5, 6}), held.seen);
    EXPECT_EQ(1U, mailbox.counts().skipped);
}

TEST(FrameMailbox, CountsAndReportsWhatItsWorkThrows) {
    std::vector<std::string> reports;
    FrameMailbox mailbox;
    mailbox.start(
        [](std::uint64_t, const IChnk& chunk) {
            if (chunk.frameIndex == 1) throw std::runtime_error("no such tag");
            if (chunk.frameIndex == 2) throw 7;
        },
        [&](const char* what) {
            reports.push_back(what);
            throw 8;
        });
    for (const int index : {1, 2, 3}) {
        mailbox.put(1, frame(index));
        mailbox.drain();
    }
    EXPECT_EQ((std::vector<std::string>{"no such tag", "unknown exception"}), reports);
    EXPECT_EQ(2U, mailbox.counts().failed);
    EXPECT_EQ(1U, mailbox.counts().done);
}

TEST(FrameMailbox, AccountsForEveryFrameOfManyThreadsWhileItIsRestarted) {
    constexpr int THREADS = 3, FRAMES = 500;
    FrameMailbox mailbox;
    std::uint64_t done = 0;
    std::vector<std::thread> workers;
    std::atomic<std::uint64_t> accepted = 0;
    const auto work = [&](std::uint64_t, const IChnk&) { ++done; };
    mailbox.start(work);
    for (int worker = 0; worker < THREADS; ++worker)
        workers.emplace_back([&] {
            for (int index = 0; index < FRAMES; ++index) accepted += mailbox.put(1, frame(index)) ? 1 : 0;
        });
    for (int restart = 0; restart < 20; ++restart) mailbox.start(work);
    for (std::thread& worker : workers) worker.join();
    accepted += mailbox.put(1, frame(FRAMES)) ? 1 : 0;
    mailbox.drain();
    mailbox.stop();
    const FrameMailbox::Counts counts = mailbox.counts();
    EXPECT_EQ(accepted, counts.put);
    EXPECT_EQ(done, counts.done);
    EXPECT_EQ(counts.put, counts.done + counts.skipped);
    EXPECT_LT(0U, done);
}

#ifdef __GLIBC__
TEST(FrameMailbox, SaysWhenTheSystemHasNoThreadForIt) {
    pthread_attr_t usual, impossible;
    ASSERT_EQ(0, pthread_getattr_default_np(&usual));
    ASSERT_EQ(0, pthread_attr_init(&impossible));
    ASSERT_EQ(0, pthread_attr_setstacksize(&impossible, std::size_t{1} << 46));
    HeldWork held;
    held.released.set_value();
    FrameMailbox mailbox;
    ASSERT_EQ(0, pthread_setattr_default_np(&impossible));
    EXPECT_THROW(mailbox.start(held.work()), std::system_error);
    ASSERT_EQ(0, pthread_setattr_default_np(&usual));
    EXPECT_FALSE(mailbox.put(1, frame(1)));
    mailbox.start(held.work());
    EXPECT_TRUE(mailbox.put(1, frame(2)));
    mailbox.drain();
    EXPECT_EQ((std::vector{2}), held.seen);
    pthread_attr_destroy(&impossible);
    pthread_attr_destroy(&usual);
}
#endif

}  // namespace
