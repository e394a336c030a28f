// json_members.h - the members of a JSON object that comes from outside: a configuration, a descriptor.
// A member of another type than asked counts as missing, and so does everything in a text that is no JSON or
// no object. Of nested arrays and objects nothing is kept, so that depth costs neither stack nor memory.
#ifndef LUMETRA_PLUGINS_SUPPORT_JSON_MEMBERS_H
#define LUMETRA_PLUGINS_SUPPORT_JSON_MEMBERS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

class JsonMembers {
public:
    explicit JsonMembers(const char* text);  ///< null counts as empty

    /// One that the type can hold, and that was written as an integer: 1.0 is none.
    template <class Integer>
    std::optional<Integer> integer(std::string_view name) const {
        const auto value = member<std::int64_t>(name);
        if (!value || !std::in_range<Integer>(*value)) return std::nullopt;
        return static_cast<Integer>(*value);
    }
    /// Integers too.
    std::optional<double> number(std::string_view name) const {
        if (const auto value = member<std::int64_t>(name)) return static_cast<double>(*value);
        return member<double>(name);
    }
    std::optional<bool> boolean(std::string_view name) const { return member<bool>(name); }
    std::optional<std::string> string(std::string_view name) const { return member<std::string>(name); }

private:
    using Value = std::variant<bool, std::int64_t, double, std::string>;
    class Reader;

    template <class Type>
    std::optional<Type> member(std::string_view name) const {
        const auto found = m_members.find(name);
        if (found == m_members.end() || !std::holds_alternative<Type>(found->second)) return std::nullopt;
        return std::get<Type>(found->second);
    }

    std::map<std::string, Value, std::less<>> m_members;
};

#endif
