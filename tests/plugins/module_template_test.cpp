// module_template_test.cpp - the module that authors begin with, loaded as hosts load it.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/frames.h"
#include "tests/support/loaded_module.h"

namespace {

int timesDark = 0;

void countDark(std::int32_t, const char16_t* text) {
    timesDark += std::u16string(text) == u"MyModule: it is dark";
}

class ModuleTemplate : public testing::Test, protected LoadedModule {
protected:
    ModuleTemplate() : LoadedModule(MODULE_TEMPLATE_LIBRARY) {
        timesDark = 0;
        registerLog(CB_LOG, reinterpret_cast<void*>(&countDark), nullptr);
    }
    int brightness() { return command(LUMETRA_CMD_MODULE_FIRST, ""); }
    void push(std::uint64_t id, std::uint8_t grey) {
        notify(id, chunkOf(2, 2, LUMETRA_IMGFORMAT_GRAY8, Bytes(4, grey)));
    }
};

TEST_F(ModuleTemplate, SaysWhenLightTurnsDark) {
    EXPECT_EQ(-1, brightness());
    for (const std::uint8_t grey : Bytes{200, 39, 10, 40, 0}) push(1, grey);
    EXPECT_EQ(2, timesDark);
    command(LUMETRA_CMD_STOP, "");
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
