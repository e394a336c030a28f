// command_line.h - a tool's command line by CLI11, with its help in groups and refusals of one line. One
// thread.
#ifndef LUMETRA_TOOLS_COMMAND_LINE_H
#define LUMETRA_TOOLS_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// What is wrong with a command line.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Takes the value of an option. @throws std::runtime_error for one that is wrong
using TakeValue = std::function<void(const std::string&)>;

class CommandLine : public CLI::App {
public:
    /// @param beginning  of the help: usage and description
    /// @param end        what follows the options
    CommandLine(const std::string& program, const std::string& beginning, const std::string& end);

    /// Options that are added from here on belong together.
    void beginGroup(const char* title) { option_defaults()->take_last()->group(title); }
    /// @param names  such as "-f,--input-format"
    /// @param form   what stands for the value in the help, whose lines do not break by themselves
    CLI::Option* value(const char* names, const char* form, const char* help, const TakeValue& take);
    /// A value that may be given again and again.
    void list(const char* names, const char* form, const char* help, const TakeValue& take) {
        value(names, form, help, take)->take_all();
    }
    template <class Value>
    void flag(const char* names, const char* help, Value& value, const char* form = "") {
        add_flag(names, value, help)->option_text(form);
    }
    void needs(const char* option, const char* other) { get_option(option)->needs(get_option(other)); }
    void excludes(const char* option, const char* other) { get_option(option)->excludes(get_option(other)); }

    /// Reads all of it; nothing, or the text that --help or --version ask for. @throws UsageError
    std::optional<std::string> read(int argc, const char* const* argv, const std::string& version);
};

/// Nothing for a text that is no such number to its end.
template <class Number>
std::optional<Number> numberFrom(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

template <class Value, class Parse>
TakeValue parsed(Value& value, Parse parse) {
    return [&value, parse](const std::string& text) { value = parse(text); };
}

template <class Value, class Number>
TakeValue number(Value& value, Number least, Number most) {
    return parsed(value, [least, most](const std::string& text) {
        const auto number = numberFrom<Number>(text);
        if (number && *number >= least && *number <= most) return *number;
        std::ostringstream reason;
        reason << text << " is no such number: use " << least << " to " << most;
        throw UsageError(reason.str());
    });
}

inline TakeValue text(std::string& value) {
    return [&value](const std::string& text) { value = text; };
}

#endif
