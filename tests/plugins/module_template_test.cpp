// module_template_test.cpp - the module that authors begin with, loaded as hosts load it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"

namespace {

class ModuleTemplate : public testing::Test, protected LoadedModule {
protected:
    ModuleTemplate() : LoadedModule(MYMODULE_LIBRARY) {}

    int brightness() { return send(LUMETRA_CMD_MODULE_FIRST); }
    void push(std::uint64_t id, std::uint8_t grey) {
        notify(id, chunkOf(2, 2, LUMETRA_IMGFORMAT_GRAY8, Bytes(4, grey)));
    }
};

TEST_F(ModuleTemplate, SaysWhenLightTurnsDark) {
    EXPECT_EQ(-1, brightness());
    for (const std::uint8_t grey : Bytes{200, 39, 10, 40, 0}) push(1, grey);
    EXPECT_EQ((std::vector<std::string>(2, "MyModule: it is dark")), lines());
    send(LUMETRA_CMD_STOP);
    push(1, 100);
    EXPECT_EQ(0, brightness());
}

TEST_F(ModuleTemplate, GoesOnAfterTheClockWasSetBack) {
    push(3'600'000, 100);
    push(3'599'999, 101);  // overtaken
    EXPECT_EQ(100, brightness());
    push(5, 102);
    EXPECT_EQ(102, brightness());
}

}  // namespace
