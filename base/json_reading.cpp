// json_reading.cpp - parsing without recursion, members looked up with their type tested.
#include "base/json_reading.h"

#include <locale.h>
#include <stdlib.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace lumetra {

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

enum class Escape { None, Other, FirstHalf, SecondHalf };

// What the escape at `at` stands for: one half of a surrogate pair, or anything else.
Escape escapeAt(std::string_view text, std::size_t at) {
    const std::string_view escape = text.substr(std::min(at, text.size()), 4);
    if (!escape.starts_with('\\')) return Escape::None;
    if (escape.size() < 4 || escape[1] != 'u' || (escape[2] != 'd' && escape[2] != 'D')) return Escape::Other;
    if (std::string_view("89abAB").find(escape[3]) != std::string_view::npos) return Escape::FirstHalf;
    const bool isSecond = std::string_view("cdefCDEF").find(escape[3]) != std::string_view::npos;
    return isSecond ? Escape::SecondHalf : Escape::Other;
}

// The text with every unpaired surrogate written as a low one: RapidJSON refuses a high surrogate without its
// low one, wherever in the document it is, and takes a low one without its high one.
std::string spellHalvesAlike(std::string text) {
    constexpr std::size_t ESCAPE = 6;  // "\\uXXXX"
    for (std::size_t i = text.find('\\'); i != std::string::npos; i = text.find('\\', i)) {
        const Escape escape = escapeAt(text, i);
        if (escape == Escape::FirstHalf && escapeAt(text, i + ESCAPE) == Escape::SecondHalf) {
            i += 2 * ESCAPE;
            continue;
        }
        if (escape == Escape::FirstHalf) text.replace(i + 2, 2, "dc");
        i += 2;
    }
    return text;
}

// A document that reads its numbers itself, so that they come out again as they went in. RapidJSON's own
// exact reading looks outside its tables for some of them, 1.2345678901234567e-340 for one.
class ExactDocument : public JsonDocument {
public:
    // Called by the reader.
    bool RawNumber(const char* digits, rapidjson::SizeType length, bool) {
        const std::string number(digits, length);  // with the 0 at its end that strtod_l needs
        if (number.find_first_of(".eE") == std::string_view::npos) {
            if (const auto integer = read<std::int64_t>(number)) return Int64(*integer);
            if (const auto natural = read<std::uint64_t>(number)) return Uint64(*natural);
        }
        static const locale_t classic =
            newlocale(LC_ALL_MASK, "C", nullptr);  // the host may have set another
        return Double(strtod_l(number.c_str(), nullptr, classic));
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
    if (nestingDepth(text) > MAX_WRITTEN_DEPTH) return document;

    const std::string spelled = spellHalvesAlike(text);
    const auto parse = [&document, &spelled](JsonDocument&) {
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> reader;
        rapidjson::StringStream stream(spelled.c_str());
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

std::optional<std::int32_t> readClampedInteger(const JsonValue* object, const char* name) {
    constexpr double LEAST = std::numeric_limits<std::int32_t>::min();
    constexpr double GREATEST = std::numeric_limits<std::int32_t>::max();
    const JsonValue* value = findMember(object, name);
    if (value == nullptr || !value->IsNumber()) return std::nullopt;
    if (value->IsInt()) return value->GetInt();
    const double number = value->GetDouble();
    if (number >= LEAST && number <= GREATEST) return std::nullopt;  // it has a fraction
    if (number != std::floor(number)) return std::nullopt;
    return static_cast<std::int32_t>(std::clamp(number, LEAST, GREATEST));
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

}  // namespace lumetra
