// Frames as a module pushes them, and the texts that the host sees and answers.
#include <gmock/gmock.h>
#include <rapidjson/document.h>

#include <new>
#include <set>
#include <stdexcept>
#include <thread>

#include "LumetraCore/utf_conversion.h"
#include "base/process_wide.h"
#include "core/LumetraCoreExecutor.h"
#include "image/base64.h"
#include "image/picture_encoder.h"
#include "image/text_exchange.h"
#include "tests/modules/recorder.h"
#include "tests/support/configurations.h"
#include "tests/support/pictures.h"
#include "tests/support/waiting.h"

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

class TextExchange : public testing::Test {
protected:
    TextExchange() {
        processWide<PictureEncoder>().allocate();
        Host::seen.clear();
        Host::answer = u"{}";
        Host::answersNull = false;
    }
    ~TextExchange() override { processWide<PictureEncoder>().release(); }

    // Of frames that are forwarded.
    void configure(int width, int height, int format) {
        cfg = configurationOf(width, height, format);
        cfg.forwardNativeImage = true;
    }
    // What the frame travels with.
    std::string exchange(const Bytes& frame, const std::string& descriptor) const {
        return exchangeText(&Host::exchange, descriptor.c_str(), frame.data(), cfg);
    }

    ICfg cfg;
};

}  // namespace

TEST(ModulePush, TravelsWithWhatTheHostAnsweredIfItListens) {
    LumetraCoreExecutor engine;
    engine.configure(configurationText(4, 2, 1).c_str());
    ASSERT_EQ(7, engine.registerDllByName("Recorder"));
    Host::answer = u"answer";
    int user = 0;
    for (const bool listens : {false, true}) {
        if (listens)
            engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&Host::exchange),
                                    &user);
        const auto push = [&engine] {
            EXPECT_EQ(1, LumetraCoreExecutor::pushNativeImage(&engine, Bytes(24).data(), 24, "{ no JSON", 3));
        };
        std::vector<Notification> notifications;
        repeatUntil(push,
                    [&] { return !(notifications = recorder("Recorder")->takeNotifications()).empty(); });
        EXPECT_EQ(listens ? "answer" : "{ no JSON", notifications.back().chunk->descriptor);
        EXPECT_EQ(3, notifications.back().chunk->frameIndex);
    }
    engine.unregisterDllByID(7);
}

TEST(ModulePush, TouchesNothingButTheLivingEngine) {
    static std::unique_ptr<LumetraCoreExecutor> engine;
    engine = std::make_unique<LumetraCoreExecutor>();
    engine->configure(configurationText(4, 2, 1).c_str());
    const LUMETRA_HOSTTEXTFN endEngine = [](void*, const char16_t* text) {
        engine.reset();
        return text;
    };
    engine->registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(endEngine), nullptr);
    int other = 0;
    void* const engineThatWas = engine.get();
    for (void* const context : {static_cast<void*>(&other), engineThatWas, engineThatWas})
        EXPECT_EQ(0, LumetraCoreExecutor::pushNativeImage(context, nullptr, 0, "{}", 1));
    EXPECT_EQ(nullptr, engine);
}

TEST_F(TextExchange, WithoutForwardingPassesTextsThroughAsTheyAre) {
    Host::answer = u"any { answer \u20AC";
    EXPECT_EQ("any { answer \xE2\x82\xAC", exchange(Bytes(16), "any { text \xE2\x82\xAC"));
    EXPECT_THAT(Host::seen, ElementsAre("any { text \xE2\x82\xAC"));
    Host::answersNull = true;
    EXPECT_EQ("", exchange(Bytes(16), ""));
}

TEST_F(TextExchange, ShowsTheHostAPictureOfTheLuma) {
    configure(4, 2, 4);
    const Bytes frame = randomBytes(16, 1);
    pictures::Source luma{pictures::Mode::Grey, 4, 2, {}};
    for (std::size_t i = 0; i < frame.size(); i += 2) luma.pixels.push_back(frame[i]);
    const Bytes file = pictures::encode(luma, 90, "Native");

    exchange(frame, R"({ "a" : 1, "image" : "mine" })");
    EXPECT_THAT(Host::seen,
                ElementsAre(R"({"a":1,"image":"mine","image":")" +
                            base64_encode(file.data(), static_cast<unsigned>(file.size())) + "\"}"));
}

TEST_F(TextExchange, ForwardsJsonCompactlyAndTakesThePictureOutOfTheAnswer) {
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
        configure(4, 2, c.format);
        Host::seen.clear();
        Host::answer = c.answer;
        EXPECT_EQ(c.kept, exchange(Bytes(24), c.descriptor));
        EXPECT_THAT(Host::seen, ElementsAre(c.shown));
    }
}

TEST_F(TextExchange, TreatsDeepNestingAsTextThatDoesNotParse) {
    configure(4, 2, 1);
    for (const int depth : {1000, 1001, 100000}) {
        const std::string nested = std::string(static_cast<std::size_t>(depth), '[') +
                                   std::string(static_cast<std::size_t>(depth), ']');
        Host::seen.clear();
        Host::answer = convertUTFFormat8toV<char, char16_t>(nested);
        const std::string expected = depth <= 1000 ? nested : "null";
        EXPECT_EQ(expected, exchange(Bytes(24), nested)) << depth;
        EXPECT_THAT(Host::seen, ElementsAre(expected)) << depth;
    }
}

TEST_F(TextExchange, WithoutAValidSizeStillAsksTheHost) {
    for (const auto& [width, height] : {std::pair(0, 0), {-1, -1}, {5, -1}}) {
        configure(width, height, 4);
        exchange(Bytes(), "{}");
    }
    EXPECT_THAT(Host::seen, ElementsAre(R"({"image":""})", R"({"image":""})", R"({"image":""})"));
    configure(40000, 40000, 4);
    EXPECT_THROW(exchange(Bytes(), "{}"), std::bad_alloc);
    EXPECT_EQ(3U, Host::seen.size());
}

TEST_F(TextExchange, CutsAPictureShortThatIsLargerThanItsBuffer) {
    configure(2048, 2048, 4);
    exchange(randomBytes(2048 * 2048 * 2, 2), "{}");
    rapidjson::Document shown;
    shown.Parse(Host::seen.at(0).c_str());
    EXPECT_EQ((JPEG_CAPACITY + 2) / 3 * 4, shown["image"].GetStringLength());
}

TEST_F(TextExchange, RefusesTextsThatCannotBeConverted) {
    EXPECT_THROW(exchange(Bytes(24), "\xFF"), std::range_error);
    EXPECT_TRUE(Host::seen.empty());
    Host::answer = {0xD800};
    EXPECT_THROW(exchange(Bytes(24), ""), std::range_error);
}

TEST_F(TextExchange, KeepsPicturesOfTwoModulesApart) {
    configure(64, 48, 4);
    std::vector<std::thread> modules;
    for (unsigned module = 0; module < 3; ++module)
        modules.emplace_back([this, module] {
            const Bytes frame = randomBytes(64 * 48 * 2, module);
            for (int i = 0; i < 20; ++i) exchange(frame, R"({"module":)" + std::to_string(module) + "}");
        });
    for (auto& module : modules) module.join();
    std::set<std::string> texts(Host::seen.begin(), Host::seen.end());
    EXPECT_EQ(60U, Host::seen.size());
    EXPECT_EQ(3U, texts.size()) << "one picture for each module, however the pushes fell";
}
