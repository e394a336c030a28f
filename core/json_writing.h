// json_writing.h - the compact JSON writer, without blanks or line ends. Any thread; a writer serves one
// text.
#ifndef LUMETRA_CORE_JSON_WRITING_H
#define LUMETRA_CORE_JSON_WRITING_H

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>

#include "core/json_reading.h"

using JsonText = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, ThrowingAllocator>;
using JsonWriter = rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator>;

/// Writes `text`, which must be valid UTF-8; quotes and control characters are escaped.
inline void writeString(JsonWriter& writer, const std::string& text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/// The document as text, "null" if it holds a number that JSON cannot express. Writing recurses: only
/// documents of parseBoundedJson may come here.
inline std::string serialize(const JsonDocument& document) {
    JsonText text;
    JsonWriter writer(text);
    if (!document.Accept(writer)) return "null";
    return {text.GetString(), text.GetSize()};
}

#endif
