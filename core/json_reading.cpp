// json_reading.cpp - parsing without recursion, members looked up with their type tested.
#include "core/json_reading.h"

#include <locale.h>
#include <stdlib.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

#include <algorithm>
#include <charconv>
#include <string_view>

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

// Whether an escape spells the second half of a character without its first. RapidJSON refuses a first half
// without its second, but takes this one, and would write it as bytes that are no UTF-8.
bool hasLoneSecondHalf(std::string_view text) {
    const auto spellsHalf = [text](std::size_t at, std::string_view digits) {
        const std::string_view escape = text.substr(at, 4);
        return escape.size() == 4 && escape.starts_with("\\u") && (escape[2] == 'd' || escape[2] == 'D') &&
               digits.find(escape[3]) != std::string_view::npos;
    };
    for (std::size_t i = text.find('\\'); i != std::string_view::npos; i = text.find('\\', i)) {
        if (spellsHalf(i, "cdefCDEF")) return true;
        i += spellsHalf(i, "89abAB") ? 12 : 2;  // a whole character, or an escape
    }
    return false;
}

// A document that reads its numbers itself, so that they come out again as they went in. RapidJSON's own
// exact reading looks outside its tables for some of them, 1.2345678901234567e-340 for one.
class ExactDocument : public JsonDocument {
public:
    // Called by the reader. The digits end with a 0.
    bool RawNumber(const char* digits, rapidjson::SizeType length, bool) {
        const std::string_view number(digits, length);
        if (number.find_first_of(".eE") == std::string_view::npos) {
            if (const auto integer = read<std::int64_t>(number)) return Int64(*integer);
            if (const auto natural = read<std::uint64_t>(number)) return Uint64(*natural);
        }
        static const locale_t classic =
            newlocale(LC_ALL_MASK, "C", nullptr);  // the host may have set another
        return Double(strtod_l(digits, nullptr, classic));
    }

private:
    template <class Integer>
    static std::optional<Integer> read(std::string_view number) {
        Integer integer = 0;
        const auto result = std::from_chars(number.data(), number.data() + number.size(), integer);
        return result.ec == std::errc() ? std::optional(integer) : std::nullopt;
    }
};

}  // namespace

JsonDocument parseBoundedJson(const char* text) {
    ExactDocument document;
    if (nestingDepth(text) > MAX_WRITTEN_DEPTH || hasLoneSecondHalf(text)) return document;

    const auto parse = [&document, text](JsonDocument&) {
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> reader;
        rapidjson::StringStream stream(text);
        constexpr unsigned FLAGS = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
        return !reader.Parse<FLAGS>(stream, document).IsError();
    };
    document.Populate(parse);
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
