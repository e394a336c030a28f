#include "image/push_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>

using namespace lumetra;

TEST(PushGate, LetsInWhoNamesTheLivingEngineOnly) {
    PushGate gate;
    const int engine = 0, other = 0;
    EXPECT_FALSE(PushGate::Visit(gate, &engine)) << "none lives yet";
    gate.open(&engine);
    EXPECT_TRUE(PushGate::Visit(gate, &engine));
    EXPECT_FALSE(PushGate::Visit(gate, &other));
    EXPECT_FALSE(PushGate::Visit(gate, nullptr));
    gate.close(&other);
    EXPECT_TRUE(PushGate::Visit(gate, &engine)) << "somebody else's end";
    gate.close(&engine);
    EXPECT_FALSE(PushGate::Visit(gate, &engine));
}

TEST(PushGate, ClosesOnceEverybodyHasLeftButWhoClosesIt) {
    PushGate gate;
    const int engine = 0;
    gate.open(&engine);
    std::binary_semaphore inside{0}, leave{0};
    std::atomic<bool> left = false;
    std::thread module([&] {
        const PushGate::Visit visit(gate, &engine);
        inside.release();
        leave.acquire();
        left = true;
    });
    inside.acquire();
    const PushGate::Visit own(gate, &engine);
    std::thread waker([&] {
        while (PushGate::Visit(gate, &engine)) std::this_thread::yield();  // until it is closing
        leave.release();
    });
    gate.close(&engine);
    EXPECT_TRUE(left);
    module.join();
    waker.join();
}
