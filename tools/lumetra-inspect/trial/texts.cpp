// texts.cpp - chosen texts first, then made-up ones.
#include "tools/lumetra-inspect/trial/texts.h"

#include <random>

namespace {

constexpr int MADE_UP = 40;
constexpr std::size_t DEEP = 100000, LONG = 1 << 20;

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t k = 0; k < count; ++k) text += part;
    return text;
}

// Pieces of JSON in any order: nearer to what a reader takes than bytes alone.
std::string madeUp(std::mt19937& random) {
    static const char* const PIECES[] = {"{",         "}",     "[",       "]",    ":",          ",",
                                         "\"",        "\\u00", "\\ud800", "null", "true",       "1e999",
                                         "-1",        "0",     " ",       "\xFF", "\xC3",       "timestampUs",
                                         "\"width\"", "port",  "\"fps\"", "\"\"", "2147483648", "a"};
    std::string text;
    for (std::size_t left = random() % 30; left > 0; --left) text += PIECES[random() % std::size(PIECES)];
    return text;
}

}  // namespace

std::vector<std::string> brokenTexts(std::uint32_t seed) {
    std::vector<std::string> texts = {
        "",
        "{",
        "{}",
        "null",
        "[]",
        "\"",
        "no JSON at all",
        "{\"a\":",
        "{\"a\":1,\"a\":2}",
        "{\"timestampUs\":\"soon\"}",
        "{\"timestampUs\":-9223372036854775808}",
        "{\"timestampUs\":1e400}",
        "{\"timestampUs\":99999999999999999999}",
        "{\"timestampUs\":[{}]}",
        "{\"width\":-1,\"height\":2147483647,\"port\":-1,\"fps\":0,\"address\":7,\"source\":null}",
        "{\"port\":70000,\"address\":\"not an address\",\"source\":\"no-such-file\"}",
        "\xFF\xFE\xC3\x28 no UTF-8",
        "\xED\xA0\x80 half a character",
        "{\"a\":\"\\ud800\"}",
        "%s%n%d",
        repeated("[", DEEP),
        repeated("{\"a\":", DEEP),
        "{\"a\":\"" + std::string(LONG, 'x') + "\"}",
    };
    std::mt19937 random(seed);
    for (int k = 0; k < MADE_UP; ++k) texts.push_back(madeUp(random));
    return texts;
}
