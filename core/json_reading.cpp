// json_reading.cpp - parsing without recursion, members looked up with their type tested.
#include "core/json_reading.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <cmath>

JsonDocument parseJson(const char* text) {
    JsonDocument document;
    document.Parse<rapidjson::kParseIterativeFlag>(text);
    return document;
}

namespace {

struct TextShape {
    int depth = 0;             // of arrays and objects, at least for valid JSON
    bool hasExponent = false;  // some number may have one
};

// What stands in strings does not count.
TextShape shapeOf(const char* text) {
    TextShape shape;
    int depth = 0;
    bool inString = false;
    for (char previous = '\0'; *text != '\0'; previous = *text++) {
        if (inString) {
            if (*text == '\\' && text[1] != '\0')
                ++text;
            else if (*text == '"')
                inString = false;
        } else if (*text == '"') {
            inString = true;
        } else if (*text == '[' || *text == '{') {
            shape.depth = std::max(shape.depth, ++depth);
        } else if (*text == ']' || *text == '}') {
            --depth;
        } else if (*text == 'e' || *text == 'E') {
            shape.hasExponent = shape.hasExponent || (previous >= '0' && previous <= '9');
        }
    }
    return shape;
}

struct FiniteNumbers : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, FiniteNumbers> {
    static bool Default() { return true; }
    static bool Double(double value) { return std::isfinite(value); }
};

bool hasFiniteNumbersOnly(const char* text) {
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> reader;
    rapidjson::StringStream stream(text);
    FiniteNumbers handler;
    return !reader.Parse<rapidjson::kParseIterativeFlag>(stream, handler).IsError();
}

}  // namespace

// Some numbers beyond the greatest double come out small when every digit is to be kept, so that numbers with
// exponents are first read without.
JsonDocument parseBoundedJson(const char* text) {
    JsonDocument document;
    const TextShape shape = shapeOf(text);
    if (shape.depth <= MAX_WRITTEN_DEPTH && (!shape.hasExponent || hasFiniteNumbersOnly(text)))
        document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag>(text);
    return document;
}

const JsonValue* findMember(const JsonValue* object, const char* name) {
    if (object == nullptr || !object->IsObject()) return nullptr;
    const auto member = object->FindMember(name);
    return member == object->MemberEnd() ? nullptr : &member->value;
}

std::optional<std::int32_t> readInteger(const JsonValue* object, const char* name) {
    const JsonValue* value = findMember(object, name);
    if (value == nullptr || !value->IsInt()) return std::nullopt;
    return value->GetInt();
}

std::optional<std::string_view> readString(const JsonValue* object, const char* name) {
    const JsonValue* value = findMember(object, name);
    if (value == nullptr || !value->IsString()) return std::nullopt;
    return std::string_view(value->GetString(), value->GetStringLength());
}

bool readTrue(const JsonValue* object, const char* name) {
    const JsonValue* value = findMember(object, name);
    return value != nullptr && value->IsTrue();
}
