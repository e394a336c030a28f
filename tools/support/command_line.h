// command_line.h - a tool's command line by CLI11: help in groups, refusals of one line. One thread.
#ifndef LUMETRA_TOOLS_COMMAND_LINE_H
#define LUMETRA_TOOLS_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

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
    /// @param value  true if the option is given, or what its default in braces says. @param form  as above
    template <class Value>
    void flag(const char* names, const char* help, Value& value, const char* form = "") {
        add_flag(names, value, help)->option_text(form);
    }
    /// Relations of options that have been added.
    void needs(const char* option, const char* other) { get_option(option)->needs(get_option(other)); }
    void excludes(const char* option, const char* other) { get_option(option)->excludes(get_option(other)); }

    /// Reads all of it; nothing, or the text that --help or --version ask for. @throws UsageError
    std::optional<std::string> read(int argc, const char* const* argv, const std::string& version);
};

/// Nothing for a text that is no such number to its end.
template <class Number>
std::optional<Number> numberFrom(const std::string& text) {
    Number number{};
    const char* end = nullptr;
    if constexpr (std::is_floating_point_v<Number>) {  // which from_chars() of clang's library does not know
        char* stop = nullptr;
        number = std::strtod(text.c_str(), &stop);
        end = stop;
    } else {
        const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
        end = result.ec == std::errc() ? result.ptr : nullptr;
    }
    if (text.empty() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// Puts what `parse` makes of the value there. The target outlives the command line, as with the others.
template <class Value, class Parse>
TakeValue parsedInto(Value& target, Parse parse) {
    return [&target, parse](const std::string& text) { target = parse(text); };
}

/// A number from `least` to `most`.
template <class Value, class Number>
TakeValue numberInto(Value& target, Number least, Number most) {
    return parsedInto(target, [least, most](const std::string& text) {
        const auto number = numberFrom<Number>(text);
        if (number && *number >= least && *number <= most) return *number;
        std::ostringstream reason;
        reason << text << " is no such number: use " << least << " to " << most;
        throw UsageError(reason.str());
    });
}

/// A text that is not empty.
TakeValue textInto(std::string& target);
/// The path of a folder that there is.
TakeValue folderInto(std::string& target);

#endif
