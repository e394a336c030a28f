#include "LumetraCore/utf_conversion.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace {

std::string toUtf8(const std::u16string& text) {
    return convertUTFFormatVto8<char16_t, char>(text);
}
std::u16string toUtf16(const std::string& bytes) {
    return convertUTFFormat8toV<char, char16_t>(bytes);
}

template <class Conversion>
std::string errorOf(Conversion conversion) {
    try {
        conversion();
    } catch (const std::range_error& error) {
        return error.what();
    }
    return "no error";
}

std::string encoded(char32_t code) {  // by division, as arithmetic on base 64
    if (code < 0x80) return {static_cast<char>(code)};
    std::string tail;
    char32_t lead = code;
    char32_t room = 0x40;  // what the lead byte can hold, at most
    char32_t mark = 0x80;
    do {
        tail.insert(tail.begin(), static_cast<char>(0x80 + lead % 64));
        lead /= 64;
        room /= 2;
        mark += room * 2 == 0x40 ? 0x40 : room * 2;
    } while (lead >= room);
    return static_cast<char>(mark + lead) + tail;
}

}  // namespace

TEST(UtfConversion, CarriesEveryCodePointBothWays) {
    for (char32_t code = 0; code <= 0x10FFFF; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF) continue;
        std::u16string units;
        if (code < 0x10000) {
            units = {static_cast<char16_t>(code)};
        } else {
            units = {static_cast<char16_t>(0xD800 + (code - 0x10000) / 0x400),
                     static_cast<char16_t>(0xDC00 + (code - 0x10000) % 0x400)};
        }
        ASSERT_EQ(encoded(code), toUtf8(units)) << std::hex << static_cast<unsigned>(code);
        ASSERT_EQ(units, toUtf16(encoded(code))) << std::hex << static_cast<unsigned>(code);
    }
}

TEST(UtfConversion, WritesKnownTexts) {
    EXPECT_EQ("", toUtf8(u""));
    for (std::size_t before = 0; before < 40; ++before) {  // ASCII goes in blocks
        const std::string bytes =
            std::string(before, 'a') + "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + std::string(39 - before, 'z');
        const std::u16string units =
            std::u16string(before, u'a') + u"\u00E9\u20AC\U0001F600" + std::u16string(39 - before, u'z');
        EXPECT_EQ(bytes, toUtf8(units));
        EXPECT_EQ(units, toUtf16(bytes));
    }
}

TEST(UtfConversion, RefusesEveryUnpairedSurrogate) {
    const char16_t high = 0xD83D;
    const char16_t low = 0xDE00;
    const std::vector<std::u16string> texts = {
        {high}, {low}, {u'a', high}, {high, u'a'}, {low, high}, {high, high, low}, {u'a', low, u'b'}};
    for (const auto& text : texts)
        EXPECT_EQ("wstring_convert: to_bytes error", errorOf([&] { toUtf8(text); })) << text.size();
}

TEST(UtfConversion, RefusesEveryMalformedSequence) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"no lead byte", {"\x80", "\xBF", "\xFF", "\xFE"}},
        {"cut", {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "a\xE2"}},
        {"no tail", {"\xC3(", "\xE2(\x82", "\xF0\x9F\x98("}},
        {"overlong", {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF"}},
        {"surrogates", {"\xED\xA0\x80", "\xED\xBF\xBF"}},
        {"beyond U+10FFFF", {"\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80"}},
    };
    for (const auto& [what, texts] : cases)
        for (const char* text : texts)
            EXPECT_EQ("wstring_convert: from_bytes error", errorOf([text] { toUtf16(text); })) << what;
}

TEST(UtfConversion, CopiesBytesAsTheyAre) {
    const std::string bytes("\xFF\x00\xC3", 3);
    EXPECT_EQ(bytes, (convertUTFFormatVto8<char, char>(bytes)));
    EXPECT_EQ(bytes, (convertUTFFormat8toV<char, char>(bytes)));
}
