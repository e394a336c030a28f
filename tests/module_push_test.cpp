// Frames as a module pushes them, and the texts that the host sees and answers.
#include <gmock/gmock.h>
#include <rapidjson/document.h>

#include <new>
#include <stdexcept>

#include "LumetraCore/utf_conversion.h"
#include "image/base64.h"
#include "image/jpeg/TooJpeg.h"
#include "image/picture_encoder.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"

using namespace lumetra;

using testing::ElementsAre;

namespace {

// The host's side of the exchange: keeps what it saw, answers what it was told to.
struct Host {
    static inline std::mutex mutex;
    static inline std::vector<std::string> seen;
    static inline std::u16string answer;
    static inline bool answersNull = false;

    static const char16_t* exchange(void* unused, const char16_t* text) {
        const std::lock_guard lock(mutex);
        seen.push_back((unused == nullptr ? "" : "context! ") + convertUTFFormatVto8<char16_t, char>(text));
        return answersNull ? nullptr : answer.c_str();
    }
};

class ModulePush : public testing::Test {
protected:
    ModulePush() {
        EngineProbe::stopLoop(engine);
        engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, nullptr, nullptr);
        Host::seen.clear();
        Host::answer = u"{}";
        Host::answersNull = false;
    }

    void configure(int width, int height, int format, bool forward) {
        engine.configure((R"({"imageCfg":{"width":)" + std::to_string(width) + R"(,"height":)" +
                          std::to_string(height) + R"(},"format":)" + std::to_string(format) +
                          R"(,"forwardNativeImage":)" + (forward ? "true}" : "false}"))
                             .c_str());
    }
    void listen(int* user = nullptr) {
        engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&Host::exchange),
                                user);
    }
    int push(const Bytes& frame, const std::string& descriptor) {
        return LumetraCoreExecutor::pushNativeImage(&engine, frame.data(), static_cast<int>(frame.size()),
                                                    descriptor.c_str(), 3);
    }
    // The descriptor that the last pushed frame travels with.
    std::string descriptor() { return EngineProbe::chunks(engine).rbegin()->second->descriptor; }

    LumetraCoreExecutor engine;
};

Bytes collected;
void collect(unsigned char byte) {
    collected.push_back(byte);
}

}  // namespace

TEST_F(ModulePush, WithoutAListeningHostIsAPlainPush) {
    configure(4, 2, 4, true);
    EXPECT_EQ(1, push(Bytes(16), "not even { JSON"));
    EXPECT_EQ("not even { JSON", descriptor());
    EXPECT_EQ(3, EngineProbe::chunks(engine).rbegin()->second->frameIndex);
}

TEST_F(ModulePush, WithoutForwardingPassesTextsThroughAsTheyAre) {
    configure(4, 2, 4, false);
    int user = 0;
    listen(&user);
    Host::answer = u"any { answer \u20AC";
    EXPECT_EQ(1, push(Bytes(16), "any { text \xE2\x82\xAC"));
    EXPECT_THAT(Host::seen, ElementsAre("any { text \xE2\x82\xAC"));
    EXPECT_EQ("any { answer \xE2\x82\xAC", descriptor());
    Host::answersNull = true;
    push(Bytes(16), "");
    EXPECT_EQ("", descriptor());
}

TEST_F(ModulePush, ShowsTheHostAPictureOfTheLuma) {
    configure(4, 2, 4, true);
    listen();
    const Bytes frame = randomBytes(16, 1);
    Bytes luma;
    for (std::size_t i = 0; i < frame.size(); i += 2) luma.push_back(frame[i]);
    collected.clear();
    TooJpeg::writeJpeg(collect, luma.data(), 4, 2, false, 90, false, "Native");

    EXPECT_EQ(1, push(frame, R"({ "a" : 1, "image" : "mine" })"));
    EXPECT_THAT(
        Host::seen,
        ElementsAre(R"({"a":1,"image":"mine","image":")" +
                    base64_encode(collected.data(), static_cast<unsigned>(collected.size())) + "\"}"));
}

TEST_F(ModulePush, ForwardsJsonCompactlyAndTakesThePictureOutOfTheAnswer) {
    const struct {
        int format;
        std::string descriptor, shown;
        std::u16string answer;
        std::string kept;
    } cases[] = {
        {1, R"({ "b" : [ 1, 2.5, 18446744073709551615 ] })", R"({"b":[1,2.5,18446744073709551615]})",
         u"{ \"image\" : 1, \"x\" : 2 }", R"({"image":1,"x":2})"},
        {4, "[ ]", "[]", u"{ \"a\" : 1, \"image\" : 1, \"c\" : 3, \"d\" : 4 }", R"({"a":1,"d":4,"c":3})"},
        {4, "7", "7", u"[ \"image\" ]", R"(["image"])"},
        {4, "{", "null", u"{", "null"},
        {1, "", "null", u"", "null"},
        {4, R"({"a":2e308})", "null", u"{}", "{}"},  // no JSON expresses it
        {1, "[1.2345678901234567e-340,5e-324]", "[0.0,5e-324]", u"", "null"},
        {1, R"("\udc00")", "null", u"\"\\ud83d\\uDE00\\udE00\"", "null"},
        {4, "[]", "[]", u"{\"image\":\"\\ud83d\",\"a\":\"\\uD83D\\uDE00\"}", "{\"a\":\"\xF0\x9F\x98\x80\"}"},
        {4, "[]", "[]", u"{\"image\":\"\\udc00\",\"\\uD83D\":1}", "null"},
        {1, R"("\ud83)", "null", u"\"\\u", "null"},  // the text ends within the escape
        {1, R"("\ud83d")", "null", u"{\"image\":\"\\ud83d\"}", "null"},
        {1, R"("\\udc00\ud83d\ude00")", "\"\\\\udc00\xF0\x9F\x98\x80\"", u"", "null"},
        {1, "[1.5E+300,2e-3,-0,-7,113.17408141314563]", "[1.5e300,0.002,0,-7,113.17408141314563]",
         u"[9.99e308]", "null"},  // beyond the greatest number
        {1, R"("\u20ac[[")", "\"\xE2\x82\xAC[[\"", u"\"\\\"[\"", R"("\"[")"},
    };
    for (const auto& c : cases) {
        configure(4, 2, c.format, true);
        listen();
        Host::seen.clear();
        Host::answer = c.answer;
        EXPECT_EQ(1, push(Bytes(24), c.descriptor));
        EXPECT_THAT(Host::seen, ElementsAre(c.shown));
        EXPECT_EQ(c.kept, descriptor());
    }
}

TEST_F(ModulePush, TreatsDeepNestingAsTextThatDoesNotParse) {
    configure(4, 2, 1, true);
    listen();
    for (const int depth : {1000, 1001, 100000}) {
        const std::string nested = std::string(static_cast<std::size_t>(depth), '[') +
                                   std::string(static_cast<std::size_t>(depth), ']');
        Host::seen.clear();
        Host::answer = convertUTFFormat8toV<char, char16_t>(nested);
        EXPECT_EQ(1, push(Bytes(24), nested));
        EXPECT_THAT(Host::seen, ElementsAre(depth <= 1000 ? nested : "null")) << depth;
        EXPECT_EQ(depth <= 1000 ? nested : "null", descriptor());
    }
}

TEST_F(ModulePush, WithoutAValidSizeStillAsksTheHostAndIsThenRefused) {
    listen();
    for (const auto& [width, height] : {std::pair(0, 0), {-1, -1}, {5, -1}}) {
        configure(width, height, 4, true);
        EXPECT_EQ(0, push(Bytes(), "{}"));
    }
    EXPECT_THAT(Host::seen, ElementsAre(R"({"image":""})", R"({"image":""})", R"({"image":""})"));
    configure(40000, 40000, 4, true);
    EXPECT_THROW(push(Bytes(), "{}"), std::bad_alloc);
}

TEST_F(ModulePush, CutsAPictureShortThatIsLargerThanItsBuffer) {
    configure(2048, 2048, 4, true);
    listen();
    EXPECT_EQ(1, push(randomBytes(2048 * 2048 * 2, 2), "{}"));
    rapidjson::Document shown;
    shown.Parse(Host::seen.at(0).c_str());
    EXPECT_EQ((JPEG_CAPACITY + 2) / 3 * 4, shown["image"].GetStringLength());
}

TEST_F(ModulePush, TouchesNothingButTheLivingEngine) {
    int other = 0;
    auto gone = std::make_unique<LumetraCoreExecutor>();
    LumetraCoreExecutor* const engineThatWas = gone.get();
    gone.reset();
    for (void* const context : {static_cast<void*>(&other), static_cast<void*>(engineThatWas)})
        EXPECT_EQ(0, LumetraCoreExecutor::pushNativeImage(context, nullptr, 0, "{}", 1));
}

TEST_F(ModulePush, RefusesTextsThatCannotBeConverted) {
    configure(4, 2, 1, false);
    listen();
    EXPECT_THROW(push(Bytes(24), "\xFF"), std::range_error);
    Host::answer = {0xD800};
    EXPECT_THROW(push(Bytes(24), ""), std::range_error);
    EXPECT_TRUE(EngineProbe::chunks(engine).empty());
}

TEST_F(ModulePush, KeepsPicturesOfTwoModulesApart) {
    configure(64, 48, 4, true);
    listen();
    std::vector<std::thread> modules;
    for (unsigned module = 0; module < 3; ++module)
        modules.emplace_back([this, module] {
            const Bytes frame = randomBytes(64 * 48 * 2, module);
            for (int i = 0; i < 20; ++i) push(frame, R"({"module":)" + std::to_string(module) + "}");
        });
    for (auto& module : modules) module.join();
    std::set<std::string> texts(Host::seen.begin(), Host::seen.end());
    EXPECT_EQ(60U, Host::seen.size());
    EXPECT_EQ(3U, texts.size()) << "one picture for each module, however the pushes fell";
}
