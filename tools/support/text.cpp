// text.cpp - the library's own conversions, made forgiving.
#include "tools/support/text.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "LumetraCore/utf_conversion.h"

std::u16string toUtf16(const std::string& text) {
    try {
        return convertUTFFormat8toV<char, char16_t>(text);
    } catch (const std::range_error&) {
        return convertUTFFormat8toV<char, char16_t>(parseJson(toText(text)).get<std::string>());
    }
}

std::string toUtf8(std::u16string text) {
    try {
        return convertUTFFormatVto8<char16_t, char>(text);
    } catch (const std::range_error&) {
        for (char16_t& unit : text)  // whole pairs too: such a text is damaged anyway
            if (unit >= 0xD800 && unit <= 0xDFFF) unit = 0xFFFD;
        return convertUTFFormatVto8<char16_t, char>(text);
    }
}

Json parseJson(const std::string& text) {
    Json document = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    return document.is_discarded() ? Json() : document;
}

std::string toText(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}
