// json_members.cpp - a text read from front to end, of which the values on the first level are kept.
#include "support/json_members.h"

#include <nlohmann/json.hpp>

// Each of its functions is one event of the text, and returns whether to go on.
class JsonMembers::Reader final : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit Reader(JsonMembers& target) : m_target(target) {}

    bool null() override { return true; }
    bool boolean(bool value) override { return keep(value); }
    bool number_integer(std::int64_t value) override { return keep(value); }
    bool number_unsigned(std::uint64_t value) override {
        return std::in_range<std::int64_t>(value) ? keep(static_cast<std::int64_t>(value))
                                                  : keep(static_cast<double>(value));
    }
    bool number_float(double value, const std::string&) override { return keep(value); }
    bool string(std::string& value) override { return keep(std::move(value)); }
    bool binary(binary_t&) override { return true; }  // never in a text

    bool key(std::string& name) override {
        if (m_depth == 1) m_name = std::move(name);
        return true;
    }
    bool start_object(std::size_t) override { return ++m_depth, true; }
    bool end_object() override { return --m_depth, true; }
    bool start_array(std::size_t) override { return ++m_depth, true; }
    bool end_array() override { return --m_depth, true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
        return false;
    }

private:
    bool keep(Value value) {
        if (m_depth == 1 && m_name) m_target.m_members.insert_or_assign(*m_name, std::move(value));
        return true;
    }

    JsonMembers& m_target;
    std::size_t m_depth = 0;
    std::optional<std::string> m_name;  // nothing in a text whose root is an array
};

JsonMembers::JsonMembers(const char* text) {
    Reader reader(*this);
    if (text == nullptr || !nlohmann::json::sax_parse(std::string_view(text), &reader)) m_members.clear();
}
