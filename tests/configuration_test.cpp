#include "core/configuration.h"

#include <gmock/gmock.h>

#include "tests/support/log_capture.h"

using namespace lumetra;
using testing::ElementsAre;

namespace {

std::string describe(const Configuration& configuration) {
    const ICfg cfg = *configuration.snapshot();
    return (cfg.valid ? "valid " : "invalid ") + std::to_string(cfg.width) + "x" +
           std::to_string(cfg.height) + (cfg.mipMap ? " mip" : "") +
           (cfg.forwardNativeImage ? " forward" : "") + " flags " + std::to_string(cfg.conversionflags) +
           " path " + cfg.writablepath + " format " + std::to_string(cfg.format);
}

}  // namespace

TEST(Configuration, StartsInvalidWithItsDefaults) {
    EXPECT_EQ("invalid 0x0 flags 7 path . format 0", describe(Configuration()));
}

TEST(Configuration, ReadsEachKeyByItsOwnRule) {
    // Every document is applied on top of this one, so that what is kept and what falls back shows.
    const char* const base =
        R"({"imageCfg":{"width":9,"height":8},"mipMap":true,"forwardNativeImage":true,"format":5,)"
        R"("writablepath":"/tmp","conversionflags":11})";
    const char* const reset = "invalid 0x0 flags 11 path . format 0";
    const struct {
        std::string json, expected;
    } cases[] = {
        {base, "valid 9x8 mip forward flags 11 path /tmp format 5"},
        {"", reset},
        {"{", reset},
        {R"({"imageCfg":{"width":1,"height":1}} x)", reset},
        {"[1]", reset},
        {"7", reset},
        {std::string(100000, '['), reset},
        {R"({"imageCfg":{"width":1,"height":1}})", "valid 1x1 flags 11 path . format 0"},
        {R"({"imageCfg":{"width":0,"height":1}})", "invalid 0x1 flags 11 path . format 0"},
        {R"({"imageCfg":{"width":1,"height":-1}})", "invalid 1x-1 flags 11 path . format 0"},
        {R"({"imageCfg":{"width":"1","height":2.0}})", reset},
        {R"({"imageCfg":{"width":2147483648,"height":null}})", reset},
        {R"({"imageCfg":[1,1],"width":1,"height":1})", reset},
        {R"({"ImageCfg":{"width":1,"height":1},"MIPMAP":true})", reset},
        {R"({"mipMap":1,"forwardNativeImage":"true"})", reset},
        {R"({"format":7})", "invalid 0x0 flags 11 path . format 7"},
        {R"({"format":8})", "invalid 0x0 flags 11 path . format 5"},
        {R"({"format":2147483648})", "invalid 0x0 flags 11 path . format 5"},
        {R"({"format":123456789012345678901234567890})", "invalid 0x0 flags 11 path . format 5"},
        {R"({"format":1.5e300})", "invalid 0x0 flags 11 path . format 5"},
        {R"({"format":8.5})", reset},
        {R"({"format":3000000000.5})", reset},
        {R"({"format":-2147483649})", "invalid 0x0 flags 11 path . format -2147483648"},
        {R"({"format":-1})", "invalid 0x0 flags 11 path . format -1"},
        {R"({"format":"7","conversionflags":"1","writablepath":4})", reset},
        {R"({"conversionflags":0})", "invalid 0x0 flags 0 path . format 0"},
        {R"({"writablepath":""})", "invalid 0x0 flags 11 path  format 0"},
    };
    for (const auto& [json, expected] : cases) {
        Configuration configuration;
        configuration.configure(base);
        EXPECT_EQ(expected.starts_with("valid"), configuration.configure(json.c_str())) << json.substr(0, 80);
        EXPECT_EQ(expected, describe(configuration)) << json.substr(0, 80);
        configuration.invalidate();
        EXPECT_EQ(expected.substr(expected.find(' ')), describe(configuration).substr(7)) << "but for that";
        EXPECT_FALSE(configuration.snapshot()->valid);
    }
}

TEST(Configuration, CommandsOfTheEngineAnswerAndLog) {
    LumetraCoreExecutor engine;
    const LogCapture log(engine);
    const char* const json = R"({"imageCfg":{"width":4,"height":2},"mipMap":true})";
    for (const int command : {1, 3, 4}) {
        EXPECT_EQ(1, engine.command(ENGINE_MODULE_ID, static_cast<LUMETRA_CMDTYPE>(command), json));
        EXPECT_THAT(LogCapture::take(), ElementsAre("Executing Command!")) << command;
    }
    for (const int command : {0, 2, 5, -2147483647}) {
        EXPECT_EQ(0, engine.command(ENGINE_MODULE_ID, static_cast<LUMETRA_CMDTYPE>(command), json));
        EXPECT_THAT(LogCapture::take(),
                    ElementsAre("Executing Command!", "Warning: Particular command not available!"));
    }
    EXPECT_EQ(1, engine.pushImageData(nullptr, 0, "", 0));

    EXPECT_EQ(1, engine.command(ENGINE_MODULE_ID, LUMETRA_CMD_INVALIDATE, ""));
    EXPECT_THAT(LogCapture::take(), ElementsAre("Executing Command!", "Invalidating Core Configuration!"));
    EXPECT_EQ(0, engine.pushImageData(nullptr, 0, "", 0));
    EXPECT_EQ(0, engine.command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, "{}"));
}
