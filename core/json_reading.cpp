// json_reading.cpp - parsing without recursion, members looked up with their type tested.
#include "core/json_reading.h"

#include <algorithm>

JsonDocument parseJson(const char* text) {
    JsonDocument document;
    document.Parse<rapidjson::kParseIterativeFlag>(text);
    return document;
}

namespace {

// How deep arrays and objects are nested, at least for valid JSON. Brackets in strings do not count.
int nestingDepth(const char* text) {
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (; *text != '\0'; ++text) {
        if (inString) {
            if (*text == '\\' && text[1] != '\0')
                ++text;
            else if (*text == '"')
                inString = false;
        } else if (*text == '"') {
            inString = true;
        } else if (*text == '[' || *text == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (*text == ']' || *text == '}') {
            --depth;
        }
    }
    return deepest;
}

}  // namespace

// Not with RapidJSON's full precision: it reads beyond its tables for some very small numbers, and gives some
// that are too large as small ones.
JsonDocument parseBoundedJson(const char* text) {
    return nestingDepth(text) <= MAX_WRITTEN_DEPTH ? parseJson(text) : JsonDocument();
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
