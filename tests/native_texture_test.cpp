#include <gmock/gmock.h>

#include <new>

#include "tests/support/engine_probe.h"
#include "tests/support/log_capture.h"

using testing::ElementsAre;

namespace {

class NativeTexture : public testing::Test {
protected:
    NativeTexture() : log(engine) {}

    std::string describe() {
        const auto& [record, isRendering, handle] = EngineProbe::texture(engine);
        return std::to_string(record.width) + "x" + std::to_string(record.height) +
               (record.mipMap ? " mip" : "") + " format " + std::to_string(record.format) +
               (record.buffer ? " buffer" : "") + (isRendering ? " on" : " off") +
               (handle == &first    ? ", first"
                : handle == nullptr ? ""
                                    : ", second");
    }

    LumetraCoreExecutor engine;
    const LogCapture log;
    int first = 0, second = 0;  // two textures, never looked into
};

}  // namespace

TEST_F(NativeTexture, IsRecordedAsDescribedAndForgottenOnNull) {
    const char* const json = R"({"width": 2, "height": 3, "format": 3})";
    EXPECT_EQ(1, engine.setNativeTexturePointer(&first, json));
    EXPECT_EQ("2x3 format 3 buffer on, first", describe());
    EXPECT_THAT(LogCapture::take(), ElementsAre(json, "Native Rendering enabled!"));
    std::fill_n(EngineProbe::texture(engine).record.buffer.get(), 24, static_cast<unsigned char>(1));

    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(1, engine.setNativeTexturePointer(nullptr, "not read"));
        EXPECT_EQ("2x3 format 3 off", describe());
        EXPECT_THAT(LogCapture::take(), ElementsAre("Native Rendering disabled!"));
    }
}

TEST_F(NativeTexture, ReadsMissingAndMistypedValuesAsZero) {
    const struct {
        const char *json, *expected;
    } cases[] = {
        {"", "0x0 format 0"},
        {"[]", "0x0 format 0"},
        {R"({"width":"2","height":2.5,"mipMap":1,"format":null})", "0x0 format 0"},
        {R"({"width":1,"height":1,"mipMap":true,"format":-4})", "1x1 mip format -4"},
    };
    for (const auto& [json, expected] : cases) {
        EXPECT_EQ(1, engine.setNativeTexturePointer(&first, json));
        EXPECT_EQ(std::string(expected) + " buffer on, first", describe()) << json;
    }
}

TEST_F(NativeTexture, OfAnUnknownFormatChangesNothingButTheSize) {
    engine.setNativeTexturePointer(&first, R"({"width":2,"height":3,"format":7})");
    LogCapture::take();
    for (const char* const json : {R"({"width":5,"height":4,"mipMap":true,"format":8})",
                                   R"({"width":5,"height":4,"mipMap":true,"format":10000000000})"}) {
        EXPECT_EQ(1, engine.setNativeTexturePointer(&second, json));
        EXPECT_EQ("5x4 mip format 7 buffer on, first", describe());
        EXPECT_THAT(LogCapture::take(), ElementsAre(json));
    }
}

TEST_F(NativeTexture, OfAnImpossibleSizeIsRefusedAsLackOfMemory) {
    for (const char* json : {R"({"width":65536,"height":65536})", R"({"width":-1,"height":1})",
                             R"({"width":2147483647,"height":1})", R"({"width":23171,"height":23171})"}) {
        EXPECT_THROW(engine.setNativeTexturePointer(&first, json), std::bad_alloc) << json;
        EXPECT_EQ(1, engine.setNativeTexturePointer(nullptr, "")) << "the record is not left locked";
    }
}
