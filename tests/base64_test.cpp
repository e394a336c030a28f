#include "image/base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/frames.h"

using namespace lumetra;

namespace {

std::string encoded(const Bytes& bytes) {
    return base64_encode(bytes.data(), static_cast<unsigned>(bytes.size()));
}

constexpr std::string_view ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit; nothing for a text that is not whole groups of the alphabet with its padding at the end.
std::optional<Bytes> decoded(std::string text) {
    if (text.size() % 4 != 0) return std::nullopt;
    for (int i = 0; i < 2 && !text.empty() && text.back() == '='; ++i) text.pop_back();
    std::vector<bool> bits;
    for (const char character : text) {
        const std::size_t digit = ALPHABET.find(character);
        if (digit == ALPHABET.npos) return std::nullopt;
        for (int bit = 5; bit >= 0; --bit) bits.push_back((digit >> bit & 1) != 0);
    }
    Bytes bytes(bits.size() / 8);
    for (std::size_t i = 0; i < bytes.size() * 8; ++i)
        bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] << 1 | bits[i]);
    return bytes;
}

}  // namespace

TEST(Base64, EncodesTheVectorsOfRfc4648AndTheEndsOfTheAlphabet) {
    const std::pair<Bytes, const char*> cases[] = {{{}, ""},
                                                   {{'f'}, "Zg=="},
                                                   {{'f', 'o'}, "Zm8="},
                                                   {{'f', 'o', 'o'}, "Zm9v"},
                                                   {{'f', 'o', 'o', 'b'}, "Zm9vYg=="},
                                                   {{'f', 'o', 'o', 'b', 'a'}, "Zm9vYmE="},
                                                   {{'f', 'o', 'o', 'b', 'a', 'r'}, "Zm9vYmFy"},
                                                   {{0x4D, 0x61, 0x6E}, "TWFu"},
                                                   {{0x4D, 0x61}, "TWE="},
                                                   {{0x4D}, "TQ=="},
                                                   {{0, 0, 0}, "AAAA"},
                                                   {{0xFF, 0xFF, 0xFF}, "////"},
                                                   {{0xFB, 0xEF, 0xBE}, "++++"},
                                                   {{0xFF}, "/w=="}};
    for (const auto& [bytes, text] : cases) EXPECT_EQ(text, encoded(bytes));
    EXPECT_EQ("", base64_encode(nullptr, 0));

    std::u16string text = u"...";
    for (const char* const word : {"foobar", "foo", "fo"})
        appendBase64(text, reinterpret_cast<const unsigned char*>(word),
                     static_cast<unsigned>(std::strlen(word)));
    EXPECT_EQ(u"...Zm9vYmFyZm9vZm8=", text);
}

TEST(Base64, GivesBackRandomBytesOfEveryLength) {
    for (std::size_t length = 0; length <= 200; ++length) {
        const Bytes bytes = randomBytes(length, static_cast<unsigned>(length));
        ASSERT_EQ(bytes, decoded(encoded(bytes))) << length << " bytes";
    }
    const Bytes large = randomBytes(300001, 7);
    EXPECT_TRUE(large == decoded(encoded(large)));
}
