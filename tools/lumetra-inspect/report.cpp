// report.cpp - lines and members.
#include "tools/lumetra-inspect/report.h"

#include <unistd.h>

#include <cstdio>

#include "tools/lumetra-inspect/loader_trace.h"
#include "tools/support/terminal.h"
#include "tools/support/text.h"

namespace {

using nlohmann::ordered_json;

// A word for the shell.
std::string shellWord(const std::string& text) {
    const char* const PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./+,:@%=";
    if (!text.empty() && text.find_first_not_of(PLAIN) == std::string::npos) return text;
    std::string word = "'";
    for (const char character : text) word += character == '\'' ? "'\\''" : std::string(1, character);
    return word + "'";
}

std::string commandFor(const Check& check, const ModuleReport& report, const TrialOptions& options) {
    std::string command =
        "lumetra-inspect --try --only " + std::string(check.name) + " --seed " + std::to_string(options.seed);
    if (options.strict) command += " --strict";
    if (options.limit != TrialOptions().limit)
        command += " --timeout " + formatted("%g", static_cast<double>(options.limit.count()) / 1000);
    if (options.configuration != "{}") command += " --config " + shellWord(options.configuration);
    return command + " " + shellWord(report.location.file.string());
}

std::string textOf(const std::vector<std::int32_t>& numbers) {
    std::vector<std::string> words;
    for (const std::int32_t number : numbers) words.push_back(std::to_string(number));
    return joined(words, " ");
}

void printResult(const CheckResult& result, const std::string& command) {
    const auto& [verdict, reason] = result.finding;
    std::string word = formatted("%-9s", wordFor(verdict));
    if (verdict == Verdict::Fail) word = inColour(Colour::Red, word, STDOUT_FILENO);
    if (verdict == Verdict::Doubtful) word = inColour(Colour::Yellow, word, STDOUT_FILENO);
    std::printf("%s %-22s %s\n", word.c_str(), result.check->name, result.check->sentence);
    if (!reason.empty()) std::printf("%-9s   %s\n", "", printable(reason).c_str());
    if (verdict == Verdict::Fail || verdict == Verdict::Doubtful)
        std::printf("%-9s   %s\n", "", command.c_str());
}

}  // namespace

void printReport(const ModuleReport& report, const TrialOptions& options) {
    std::printf("%-9s %s\n", "file", report.location.file.c_str());
    for (const CheckResult& result : report.results)
        printResult(result, commandFor(*result.check, report, options));
    if (report.runTime)
        std::printf(
            "%-9s notifyNewData takes %.1f us (median), %.1f us (99th percentile), of %d frames of 640x480\n",
            "run time", report.runTime->median, report.runTime->percentile99, report.runTime->frames);
    std::printf("%-9s %s: %d passed, %d failed, %d doubtful, %d skipped, seed %u\n", "verdict",
                report.isSound() ? "sound" : "not sound", report.count(Verdict::Pass),
                report.count(Verdict::Fail), report.count(Verdict::Doubtful), report.count(Verdict::Skipped),
                options.seed);
}

ordered_json describeReport(const ModuleReport& report, const TrialOptions& options) {
    ordered_json checks = ordered_json::array();
    for (const CheckResult& result : report.results)
        checks.push_back({{"name", result.check->name},
                          {"sentence", result.check->sentence},
                          {"verdict", wordFor(result.finding.verdict)},
                          {"reason", result.finding.reason},
                          {"repeat", commandFor(*result.check, report, options)}});
    ordered_json described = {{"file", report.location.file.string()},
                              {"name", report.location.name},
                              {"sound", report.isSound()},
                              {"checks", std::move(checks)}};
    if (report.runTime)
        described["notifyNewDataUs"] = {{"median", report.runTime->median},
                                        {"p99", report.runTime->percentile99},
                                        {"frames", report.runTime->frames}};
    return described;
}

void printSummary(const ModuleSummary& summary) {
    const std::string id = summary.id ? std::to_string(*summary.id) : "none";
    std::printf("%-20s id %s%s%s%s\n", summary.location.name.c_str(), id.c_str(),
                summary.version.empty() ? "" : ", version ", summary.version.c_str(),
                summary.status ? (", status " + std::to_string(*summary.status)).c_str() : "");
    const auto line = [](const char* key, const std::string& text) {
        if (!text.empty()) std::printf("    %-10s %s\n", key, printable(text).c_str());
    };
    line("says", summary.description);
    line("exports", joined(summary.entryPoints, " "));
    line("callbacks", textOf(summary.callbacks));
    line("fault", summary.fault);
    line("file", summary.location.file.string());
}

ordered_json describeSummary(const ModuleSummary& summary) {
    ordered_json described = {{"name", summary.location.name},
                              {"file", summary.location.file.string()},
                              {"id", nullptr},
                              {"version", summary.version},
                              {"description", summary.description},
                              {"entryPoints", summary.entryPoints},
                              {"callbacks", summary.callbacks},
                              {"status", nullptr},
                              {"fault", summary.fault}};
    if (summary.id) described["id"] = *summary.id;
    if (summary.status) described["status"] = *summary.status;
    return described;
}

void printChecks() {
    for (const Check& check : allChecks()) std::printf("%-22s %s\n", check.name, check.sentence);
}

ordered_json describeChecks() {
    ordered_json checks = ordered_json::array();
    for (const Check& check : allChecks())
        checks.push_back({{"name", check.name}, {"sentence", check.sentence}});
    return checks;
}

void printJson(const ordered_json& json) {
    std::printf("%s\n", toText(json).c_str());
}
