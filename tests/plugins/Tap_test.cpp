// Tap_test.cpp - the module as hosts load it: the real library, called by its entry points.
#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "LumetraCore/LumetraTap.h"
#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"
#include "tests/support/waiting.h"

namespace {

// A receiver that keeps what it is given, and that can be held up.
class Receiver {
public:
    ~Receiver() {
        for (const LumetraTapFrame* frame : take()) frame->release(frame);
    }

    static void receive(void* user, const LumetraTapFrame* frame) {
        auto& self = *static_cast<Receiver*>(user);
        std::unique_lock lock(self.m_mutex);
        self.m_frames.push_back(frame);
        self.m_changed.notify_all();
        self.m_changed.wait(lock, [&] { return !self.m_isHeld; });
    }

    void hold(bool held) {
        const std::lock_guard lock(m_mutex);
        m_isHeld = held;
        m_changed.notify_all();
    }
    std::vector<const LumetraTapFrame*> wait(std::size_t frames) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_frames.size() >= frames; });
        return m_frames;
    }
    std::vector<const LumetraTapFrame*> take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_frames, {});
    }

private:
    std::mutex m_mutex;  // guards all
    std::condition_variable m_changed;
    std::vector<const LumetraTapFrame*> m_frames;
    bool m_isHeld = false;
};

class Tap : public testing::Test, protected LoadedModule {
protected:
    Tap() : LoadedModule(TAP_LIBRARY) { EXPECT_EQ(1, listen()); }
    ~Tap() override {
        receiver.hold(false);
        unload();
    }

    int listen() { return setCallback(CB_TYPE2, reinterpret_cast<void*>(&Receiver::receive), &receiver); }
    void put(int frame, const std::shared_ptr<IChnk>& chunk) {
        chunk->frameIndex = frame;
        notify(1'000'000 + static_cast<std::uint64_t>(frame), chunk);
    }

    Receiver receiver;
};

std::shared_ptr<IChnk> greyPixel(unsigned char value) {
    return chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {value});
}

TEST_F(Tap, HandsOutLevelsThatLieInTheBufferAndNoOthers) {
    auto chunk = chunkOf(4, 2, LUMETRA_IMGFORMAT_GRAY8, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    layOutGreyLevels(*chunk);
    chunk->descriptor = std::string("a\0b", 3);
    put(1, chunk);
    const LumetraTapFrame& frame = *receiver.wait(1)[0];
    EXPECT_EQ(sizeof(LumetraTapFrame), frame.structSize);
    EXPECT_EQ(chunk->data->lvl[0], frame.levels[0]);
    EXPECT_EQ(8, frame.levelSizes[0]);
    EXPECT_EQ(10, frame.levels[1][1]);
    EXPECT_EQ(2, frame.levelSizes[1]);
    EXPECT_EQ(nullptr, frame.levels[2]);  // without pixels
    EXPECT_EQ(3, frame.descriptorSize);
    EXPECT_EQ(chunk->descriptor, std::string(frame.descriptor, 4).substr(0, 3));
    EXPECT_EQ(1'000'001u, frame.id);

    const struct {
        int width, height, format, size, expected;
    } cases[] = {
        {4, 2, LUMETRA_IMGFORMAT_GRAY8, 7, 0},
        {3, 1, LUMETRA_IMGFORMAT_RGB, 10, 9},
        {3, 1, LUMETRA_IMGFORMAT_BGR, 8, 0},
        {2, 1, LUMETRA_IMGFORMAT_BGRA, 10, 8},
        {5, 1, LUMETRA_IMGFORMAT_YUYV, 10, 10},
        {3, 2, LUMETRA_IMGFORMAT_YUV420, 10, 9},
        {1, 1, LUMETRA_IMGFORMAT_RESERVED6, 1, 0},
        {1, 1, 4711, 1, 0},
        {0, 1, LUMETRA_IMGFORMAT_GRAY8, 1, 0},
        {1, -1, LUMETRA_IMGFORMAT_GRAY8, 1, 0},
        {1, 1, LUMETRA_IMGFORMAT_GRAY8, -1, 0},
        {INT32_MAX, INT32_MAX, LUMETRA_IMGFORMAT_BGRA, INT32_MAX, 0},
        // 2^59 + 1 pixels, whose bits are 32 beyond 2^64
        {1824726041, 315916329, LUMETRA_IMGFORMAT_BGRA, 10, 0},
    };
    std::size_t frames = 1;
    for (const int room : {9, 10}) {  // level 1 takes the bytes 8 and 9
        chunk->size = room;
        put(static_cast<int>(++frames), chunk);
        EXPECT_EQ(room == 10 ? 2 : 0, receiver.wait(frames).back()->levelSizes[1]);
    }
    for (const auto& [width, height, format, size, expected] : cases) {
        chunk = chunkOf(width, height, LUMETRA_IMGFORMATTYPE(format), Bytes(10));
        chunk->size = size;
        put(static_cast<int>(++frames), chunk);
        const LumetraTapFrame& other = *receiver.wait(frames).back();
        EXPECT_EQ(expected, other.levelSizes[0]) << width << "x" << height << ", format " << format;
        EXPECT_EQ(expected > 0, other.levels[0] != nullptr);
    }
    chunk = greyPixel(0);
    chunk->data = nullptr;
    put(99, chunk);
    EXPECT_EQ(nullptr, receiver.wait(frames + 1).back()->levels[0]);
    notify(1, nullptr);
}

TEST_F(Tap, DeliversTheNewestToASlowReceiverAndCountsTheOthers) {
    receiver.hold(true);
    put(1, greyPixel(1));
    receiver.wait(1);
    for (const int frame : {2, 3, 5, 4, 6}) put(frame, greyPixel(0));
    EXPECT_EQ(4, send(LUMETRA_TAP_CMD_SKIPPED));
    receiver.hold(false);
    const auto frames = receiver.wait(2);
    EXPECT_EQ(6, frames[1]->frameIndex);
    EXPECT_EQ(4u, frames[1]->skipped);
    EXPECT_EQ(2, send(LUMETRA_TAP_CMD_DELIVERED));
    EXPECT_EQ(1, listen());  // counts anew
    EXPECT_EQ(0, send(LUMETRA_TAP_CMD_SKIPPED) + send(LUMETRA_TAP_CMD_DELIVERED));
}

TEST_F(Tap, LeavesFramesToTheirReceiverBeyondItsRemoval) {
    std::weak_ptr<IChnk::dPtr> pixels;
    for (const int value : {1, 2}) {
        auto chunk = greyPixel(static_cast<unsigned char>(10 * value));
        pixels = chunk->data;
        put(value, chunk);
        receiver.wait(static_cast<std::size_t>(value));
    }
    waitUntil([&] { return pixels.use_count() == 1; });  // the worker's is gone
    EXPECT_EQ(2, send(LUMETRA_TAP_CMD_HELD));
    unload();
    const auto frames = receiver.take();
    EXPECT_EQ(10, frames[0]->levels[0][0]);
    EXPECT_EQ(20, frames[1]->levels[0][0]);
    for (const LumetraTapFrame* frame : frames) frame->release(frame);
    EXPECT_TRUE(pixels.expired());
}

TEST_F(Tap, CallsNobodyWhilePausedAndAfterItsEnd) {
    EXPECT_EQ(STATUS_READY, status());
    EXPECT_EQ(1, send(LUMETRA_CMD_STOP));
    EXPECT_EQ(LUMETRA_TAP_STATUS_PAUSED, status());
    put(1, greyPixel(0));
    EXPECT_EQ(1, send(LUMETRA_CMD_START));
    put(2, greyPixel(0));
    EXPECT_EQ(2, receiver.wait(1)[0]->frameIndex);
    EXPECT_EQ(0, send(LUMETRA_TAP_CMD_SKIPPED));
    EXPECT_EQ(1, unsetCallback(CB_TYPE2));
    EXPECT_EQ(LUMETRA_TAP_STATUS_IDLE, status());
    put(3, greyPixel(0));
    EXPECT_EQ(0, setCallback(CB_TYPE2, nullptr, nullptr));
    EXPECT_EQ(0, setCallback(CB_LOG, reinterpret_cast<void*>(&Receiver::receive), nullptr));
    EXPECT_EQ(0, unsetCallback(CB_HOSTTEXT) + send(4711));
    EXPECT_EQ(1u, receiver.wait(1).size());
}

}  // namespace
