// text_fuzz.cpp - both text conversions against the system's own converter.
#include <iconv.h>

#include <cstring>

#include "fuzz/support/fuzzing.h"

namespace {

// What the system makes of a text; nothing if it refuses it.
template <class To, class From>
std::optional<std::basic_string<To>> systemConversion(iconv_t converter, std::basic_string<From> text) {
    std::basic_string<To> converted(3 * text.size() + 1, To());
    char* in = reinterpret_cast<char*>(text.data());
    char* out = reinterpret_cast<char*>(converted.data());
    std::size_t inLeft = text.size() * sizeof(From), outLeft = converted.size() * sizeof(To);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &in, &inLeft, &out, &outLeft) != 0) return std::nullopt;
    converted.resize(converted.size() - outLeft / sizeof(To));
    return converted;
}

template <class To, class From, class Convert, class ConvertBack>
void check(iconv_t converter, const std::basic_string<From>& text, Convert convert, ConvertBack convertBack) {
    const auto expected = systemConversion<To>(converter, text);
    const auto converted = attempt(expected.has_value(), [&] { return convert(text); });
    require(converted == expected, "both converters agree");
    if (converted) require(convertBack(*converted) == text, "the way back leads to the same text");
}

}  // namespace

void runInput(std::string_view input) {
    static const iconv_t toUnits = iconv_open("UTF-16LE", "UTF-8");
    static const iconv_t toBytes = iconv_open("UTF-8", "UTF-16LE");
    const auto convertToUnits = convertUTFFormat8toV<char, char16_t>;
    const auto convertToBytes = convertUTFFormatVto8<char16_t, char>;

    check<char16_t>(toUnits, std::string(input), convertToUnits, convertToBytes);
    std::u16string units(input.size() / 2, u'\0');
    std::memcpy(units.data(), input.data(), 2 * units.size());
    check<char>(toBytes, units, convertToBytes, convertToUnits);
}
