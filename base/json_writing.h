// json_writing.h - the compact JSON writer, without blanks or line ends. Any thread; one writer a text.
#ifndef LUMETRA_BASE_JSON_WRITING_H
#define LUMETRA_BASE_JSON_WRITING_H

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>

#include "base/json_reading.h"

namespace lumetra {

using JsonText = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, ThrowingAllocator>;
using JsonWriter = rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator>;

/// Writes `text`, which must be valid UTF-8; quotes and control characters are escaped.
inline void writeString(JsonWriter& writer, const std::string& text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/// Whether a text contains the bytes of an unpaired surrogate, and so is not UTF-8.
inline bool hasHalfCharacter(std::string_view text) {
    for (std::size_t i = text.find('\xED'); i != std::string_view::npos; i = text.find('\xED', i + 1))
        if (i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0xA0) return true;
    return false;
}

/// The document as compact text; "null" if it contains a non-finite number, or an unpaired surrogate that
/// came from an escape. Recursive: only for documents of parseBoundedJson.
/// @param parsedFrom  the text that the document was parsed from
inline std::string serialize(const JsonDocument& document, std::string_view parsedFrom) {
    JsonText text;
    JsonWriter writer(text);
    if (!document.Accept(writer)) return "null";
    std::string written(text.GetString(), text.GetSize());
    return hasHalfCharacter(written) && !hasHalfCharacter(parsedFrom) ? "null" : written;
}

}  // namespace lumetra

#endif
