// main.cpp - lumetra-inspect: lists modules, says whether a host can load one, and tries out whether it is
// sound. Exit status: 0 all is well, 1 a module cannot be loaded or is not sound, 2 the command line or this
// program failed, 128 + n signal n came.
#include <LumetraCore/LumetraCore.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <thread>

#include "tools/lumetra-inspect/inspection.h"
#include "tools/lumetra-inspect/interruption.h"
#include "tools/lumetra-inspect/listing.h"
#include "tools/lumetra-inspect/report.h"
#include "tools/lumetra-inspect/trial/engine.h"
#include "tools/lumetra-inspect/trial/runner.h"
#include "tools/support/command_line.h"

namespace {

namespace fs = std::filesystem;

constexpr int EXIT_NOT_SOUND = 1, EXIT_FAILED = 2;

struct Options {
    std::vector<std::string> modules;
    std::string hostFolder;
    double timeoutSeconds = 10;
    bool tries = false, json = false, listsChecks = false;
    TrialOptions trial;
};

constexpr const char* BEGINNING = R"(Usage: lumetra-inspect [OPTION]... [MODULE]...
List LumetraCore modules, say whether a host can load them, and try them out.

A MODULE is the NAME of a module below this folder or where modules are built or
installed, the path of NAME.framework or NAME.framework/NAME, or a folder with
modules. Folders are listed; without a MODULE, those where modules are.
)";
constexpr const char* END = R"(Exit status:
  0 all is well, 1 a module cannot be loaded or is not sound, 2 the command line
  or this program failed.

Examples:
  lumetra-inspect                        the modules that there are
  lumetra-inspect FrameMonitor           can a host load it?
  lumetra-inspect --try FrameMonitor     is it sound?)";

void describe(CommandLine& line, Options& options) {
    line.add_option("module", options.modules);
    line.beginGroup("Loading");
    line.value("--from", "DIR", "require that a host which works in DIR finds the module",
               folderInto(options.hostFolder));
    line.value("--timeout", "S", "a module that does not return within S seconds hangs\n(10)",
               numberInto(options.timeoutSeconds, 0.1, 3600.0));
    line.beginGroup("Trying out");
    line.flag("--try", "try each module out: is it sound?", options.tries);
    line.flag("--strict", "what is doubtful fails, too", options.trial.strict);
    line.list("--only", "CHECK", "this check only, whatever it needs; may be repeated",
              [&options](const std::string& name) { options.trial.only.insert(name); });
    line.value("--seed", "N", "of the texts that are made up (1)",
               numberInto(options.trial.seed, 0u, UINT32_MAX));
    line.value("--config", "TEXT", "a configuration that it works with ({})",
               parsedInto(options.trial.configuration, [](const std::string& text) { return text; }));
    line.value("--jobs", "N", "checks that run at the same time (the processors)",
               numberInto(options.trial.jobs, 1u, 64u));
    line.flag("--list-checks", "name every check, and end", options.listsChecks);
    line.beginGroup("Other");
    line.flag("--json", "one line of JSON; for a list, --try and --list-checks", options.json);
    line.excludes("--try", "--from");
    for (const char* option : {"--strict", "--only", "--seed", "--config", "--jobs"})
        line.needs(option, "--try");
}

// Of a folder, unless it is a module's own.
bool isFolderOfModules(const std::string& text) {
    std::error_code ignored;
    return fs::is_directory(text, ignored) && !fs::is_regular_file(locateModule(text).file, ignored);
}

std::vector<ModuleLocation> modulesOf(const Options& options) {
    std::vector<ModuleLocation> modules;
    const auto take = [&modules](const std::vector<ModuleLocation>& more) {
        modules.insert(modules.end(), more.begin(), more.end());
    };
    if (options.modules.empty())
        for (const fs::path& folder : usualFolders()) take(modulesIn(folder));
    for (const std::string& text : options.modules)
        take(isFolderOfModules(text) ? modulesIn(text) : std::vector{locateModule(text)});
    return modules;
}

bool listsOnly(const Options& options) {
    return std::all_of(options.modules.begin(), options.modules.end(), isFolderOfModules);
}

int list(const Options& options, std::chrono::milliseconds limit) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    const std::vector<ModuleLocation> modules = modulesOf(options);
    if (modules.empty()) std::fprintf(stderr, "lumetra-inspect: there is no module\n");
    for (const ModuleLocation& location : modules) {
        const ModuleSummary summary = summarize(location, limit);
        if (options.json)
            all.push_back(describeSummary(summary));
        else
            printSummary(summary);
    }
    if (options.json) printJson(all);
    return EXIT_SUCCESS;
}

// So that no module is blamed for it.
void requireEngine(std::chrono::milliseconds limit) {
    const auto open = [](const ChildLines& lines) {
        try {
            const Engine engine;
        } catch (const std::exception& error) {
            lines.tell("error", error.what());
        }
    };
    for (const ChildLine& line : runGuarded(open, {limit}).lines)
        if (line.kind == "error") throw std::runtime_error("no engine to try modules with: " + line.text);
}

int tryOut(Options& options, std::chrono::milliseconds limit) {
    options.trial.limit = limit;
    const std::vector<ModuleLocation> modules = modulesOf(options);
    if (modules.empty()) throw std::runtime_error("there is no module to try");
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    bool sound = true;
    tryModules(modules, options.trial, [&](const ModuleReport& report) {
        sound = sound && report.isSound();
        if (options.json)
            all.push_back(describeReport(report, options.trial));
        else
            printReport(report, options.trial);
    });
    if (options.json) printJson({{"sound", sound}, {"seed", options.trial.seed}, {"modules", all}});
    return sound ? EXIT_SUCCESS : EXIT_NOT_SOUND;
}

int run(Options& options) {
    const std::chrono::milliseconds limit(static_cast<std::int64_t>(options.timeoutSeconds * 1000));
    if (options.listsChecks) {
        if (options.json)
            printJson(describeChecks());
        else
            printChecks();
        return EXIT_SUCCESS;
    }
    if (!options.tries && options.hostFolder.empty() && listsOnly(options)) return list(options, limit);
    requireEngine(limit);
    if (options.tries) return tryOut(options, limit);
    bool loadable = true;
    for (const ModuleLocation& location : modulesOf(options))
        loadable = inspectModule(location, options.hostFolder, limit) && loadable;
    return loadable ? EXIT_SUCCESS : EXIT_NOT_SOUND;
}

// What the parser cannot know.
std::string usageFault(const Options& options) {
    for (const std::string& name : options.trial.only)
        if (std::none_of(allChecks().begin(), allChecks().end(),
                         [&](const Check& check) { return check.name == name; }))
            return "there is no check " + name + " (--list-checks names them)";
    if (options.json && !options.tries && !options.listsChecks && !listsOnly(options))
        return "--json goes with a list, --try or --list-checks";
    return {};
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IONBF, 0);  // what is buffered would be written by every child that ends
    Options options;
    options.trial.jobs = std::max(1u, std::thread::hardware_concurrency());
    CommandLine line("lumetra-inspect", BEGINNING, END);
    describe(line, options);
    noteInterruptions();
    try {
        if (const auto answer = line.read(argc, argv, LUMETRA_VERSION)) {
            std::printf("%s\n", answer->c_str());
            return EXIT_SUCCESS;
        }
        if (const std::string fault = usageFault(options); !fault.empty()) throw UsageError(fault);
        return run(options);
    } catch (const Interrupted& interruption) {
        return 128 + interruption.signal;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumetra-inspect: %s\n", error.what());
        return EXIT_FAILED;
    }
}
