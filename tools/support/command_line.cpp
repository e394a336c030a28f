// command_line.cpp - the help without CLI11's terms, and its errors in own words.
#include "tools/support/command_line.h"

#include <filesystem>
#include <vector>

namespace {

// "  -f, --input-format F   what it does", lines within 80 columns.
class HelpForm : public CLI::Formatter {
public:
    explicit HelpForm(std::string beginning) : m_beginning(std::move(beginning)) { column_width(25); }
    std::string make_usage(const CLI::App*, std::string) const override { return m_beginning; }
    std::string make_positionals(const CLI::App*) const override { return "\n"; }
    std::string make_group(std::string group, bool, std::vector<const CLI::Option*> options) const override {
        std::string text = group + ":\n";
        for (const CLI::Option* option : options) text += make_option(option, false);
        return text;
    }
    std::string make_option_name(const CLI::Option* option, bool) const override {
        const auto& letters = option->get_snames();
        std::string names = letters.empty() ? "    --" : "-" + letters.front() + ", --";
        return names + CLI::detail::join(option->get_lnames(), ", --");
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string& form = option->get_option_text();
        return form.empty() || form.starts_with("[=") ? form : " " + form;
    }

private:
    const std::string m_beginning;
};

}  // namespace

CommandLine::CommandLine(const std::string& program, const std::string& beginning, const std::string& end)
    : App("", program) {
    set_help_flag();
    formatter(std::make_shared<HelpForm>(beginning));
    footer(end);
}

CLI::Option* CommandLine::value(const char* names, const char* form, const char* help,
                                const TakeValue& take) {
    const std::string name = std::string(names).substr(std::string(names).find("--"));
    const auto takeNamed = [name, take](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) try {
                take(text);
            } catch (const std::runtime_error& error) {
                throw UsageError(name + ": " + error.what());
            }
    };
    return add_option_function<std::vector<std::string>>(names, takeNamed, help)
        ->allow_extra_args(false)  // a word may come next
        ->option_text(form);
}

std::optional<std::string> CommandLine::read(int argc, const char* const* argv, const std::string& version) {
    bool wantsHelp = false, wantsVersion = false;
    flag("-h,--help", "display this help and exit", wantsHelp);
    flag("--version", "output version information and exit", wantsVersion);
    const std::string hint = ": see " + get_name() + " --help";
    try {
        parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        throw UsageError(remaining().front() + " is no option" + hint);
    } catch (const CLI::ArgumentMismatch& error) {
        throw UsageError(std::string(error.what()).substr(0, std::string(error.what()).find(':')) +
                         " needs a value" + hint);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what() + hint);
    }
    for (const CLI::Option* option : get_options())
        if (option->count() > 1 && option->get_multi_option_policy() == CLI::MultiOptionPolicy::TakeLast)
            throw UsageError(option->get_name() + " is given twice: give it once");
    if (wantsHelp) return help().substr(0, help().size() - 1);
    if (wantsVersion) return get_name() + " " + version;
    return std::nullopt;
}

TakeValue textInto(std::string& target) {
    return parsedInto(target, [](const std::string& text) {
        if (text.empty()) throw UsageError("needs a value");
        return text;
    });
}

TakeValue folderInto(std::string& target) {
    return parsedInto(target, [](const std::string& text) {
        std::error_code ignored;
        if (std::filesystem::is_directory(text, ignored)) return text;
        throw UsageError(text + " is no folder: make it or name another");
    });
}
