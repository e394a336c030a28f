// module_template_test.cpp - the module that authors begin with, loaded as hosts load it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"
#include "tests/support/waiting.h"

namespace {

class ModuleTemplate : public testing::Test, protected LoadedModule {
protected:
    ModuleTemplate() : LoadedModule(MYMODULE_LIBRARY) {}

    int brightness() { return send(LUMETRA_CMD_MODULE_FIRST); }
    /// Once the frame has been looked at, or passed over: the module lets go of it then.
    void push(std::uint64_t id, std::uint8_t grey) {
        const auto frame = chunkOf(2, 2, LUMETRA_IMGFORMAT_GRAY8, Bytes(4, grey));
        notify(id, frame);
        waitUntil([&] { return frame.use_count() == 1; });
    }
};

TEST_F(ModuleTemplate, SaysWhenLightTurnsDark) {
    push(1, 7);  // too early
    EXPECT_EQ(-1, brightness());
    configure("40");
    for (const std::uint8_t grey : Bytes{200, 39, 10, 40, 0}) push(1, grey);
    EXPECT_EQ((std::vector<std::string>(2, "MyModule: it is dark")), lines());
    send(LUMETRA_CMD_STOP);
    push(1, 100);
    EXPECT_EQ(0, brightness());
}

TEST_F(ModuleTemplate, GoesOnAfterTheClockWasSetBack) {
    configure("40");
    push(3'600'000, 100);
    push(3'599'999, 101);  // overtaken
    EXPECT_EQ(100, brightness());
    push(5, 102);
    EXPECT_EQ(102, brightness());
}

}  // namespace
