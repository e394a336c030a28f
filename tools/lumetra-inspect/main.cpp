// main.cpp - lumetra-inspect: says whether a host can load a module, and if not, why.
// Exit status: 0 a host can load and remove it, 1 it cannot, 2 the command line or this program failed.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "tools/lumetra-inspect/loading.h"
#include "tools/lumetra-inspect/module_location.h"
#include "tools/lumetra-inspect/symbol_table.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr int EXIT_CANNOT_LOAD = 1, EXIT_FAILED = 2;
constexpr std::size_t UNIQUE_NAMES_SHOWN = 3;

struct Options {
    std::string module, hostFolder;
    double timeoutSeconds = 10;
};

// One line "key  text"; the key is left out where the one before it goes on.
void say(const char* key, const std::string& text) {
    std::printf("%-9s %s\n", key, text.c_str());
}

int cannot(const std::string& reason) {
    say("verdict", "a host cannot load it: " + reason);
    return EXIT_CANNOT_LOAD;
}

// Which of the nine entry points there are.
void sayEntryPoints(const SymbolTable& table) {
    const std::string symbols[] = {"getModuleID",
                                   "initialize",
                                   "registerCallback",
                                   "unregisterCallback",
                                   "getSupportedCallbacks",
                                   "command",
                                   "notifyNewData",
                                   "getStatus",
                                   "destroy"};
    std::string present, lacking;
    for (const std::string& symbol : symbols)
        (table.exported.contains(symbol) ? present : lacking) += " " + symbol;
    say("exports", present.empty() ? "none of the nine entry points" : present.substr(1));
    if (!lacking.empty()) say("lacks", lacking.substr(1));
    if (table.exported.contains("_Z11getModuleIDv"))
        say("hint", "getModuleID is exported by its C++ name: declare it by LumetraCore/LumetraModule.h");
}

void sayNeeded(const SymbolTable& table) {
    std::string names;
    for (const std::string& library : table.neededLibraries) names += " " + library;
    if (!names.empty()) say("needs", names.substr(1));
}

std::string whyMapped(const SymbolTable& table) {
    if (table.neverUnloads) return "it was linked with -z nodelete";
    if (table.unique.empty()) return "another library or a thread of its own may still use it";
    std::string names;
    for (std::size_t k = 0; k < table.unique.size() && k < UNIQUE_NAMES_SHOWN; ++k)
        names += " " + table.unique[k];
    return "it has unique symbols (" + std::to_string(table.unique.size()) + ":" + names +
           "); build it with -fno-gnu-unique, as lumetra_add_module() does";
}

void sayTrial(const Trial& trial, const SymbolTable& table) {
    for (const std::string& line : trial.log) say("log", line);
    if (!trial.loaderError.empty()) return;
    if (trial.result) say("id", std::to_string(*trial.result));
    if (trial.status) say("status", std::to_string(*trial.status));
    if (!trial.unmapped) return;
    say("unloads", *trial.unmapped ? "yes" : "no: " + whyMapped(table));
}

std::string faultOf(const Trial& trial) {
    if (!trial.fault.empty()) return "it " + trial.fault;
    if (!trial.loaderError.empty()) return trial.loaderError;
    if (!trial.result) return "it could not be tried";
    if (trial.result == -1) return "it reports no id, or -1, which is none";
    if (trial.result < 1) return "its id is " + std::to_string(*trial.result) + ", and ids begin at 1";
    if (trial.removed == false) return "it cannot be removed again";
    return {};
}

// Where a host has to work; false if the folder that was asked for does not do.
bool sayFolder(const ModuleLocation& location, const Options& options) {
    const fs::path host = options.hostFolder.empty() ? fs::current_path() : fs::path(options.hostFolder);
    const bool resolves = resolvesFrom(host, location);
    say("found", std::string(resolves ? "as " : "not as ") + relativeModulePath(location.name) + " from " +
                     host.string());
    if (!resolves) say("hint", "a host finds it while it works in " + location.folder.string());
    return resolves || options.hostFolder.empty();
}

int inspect(const Options& options) {
    const ModuleLocation location = locateModule(options.module);
    const milliseconds limit(static_cast<std::int64_t>(options.timeoutSeconds * 1000));
    say("file", location.file.string());
    if (std::error_code none; !fs::is_regular_file(location.file, none))
        return cannot(none ? none.message() : "this is no file");

    std::string fileFault;
    const SymbolTable table = readSymbolTable(location.file, fileFault);
    if (!fileFault.empty()) {
        const std::string words = loaderError(location, limit);
        return cannot(fileFault + (words.empty() ? "" : " (" + words + ")"));
    }
    sayEntryPoints(table);
    sayNeeded(table);
    if (location.name.empty()) {
        const std::string file = location.file.filename().string();
        return cannot("a module is found as NAME.framework/NAME; put this one at " +
                      relativeModulePath(file));
    }
    const bool folderDoes = sayFolder(location, options);
    const Trial trial = tryModule(location, limit);
    sayTrial(trial, table);
    if (const std::string fault = faultOf(trial); !fault.empty()) return cannot(fault);

    if (const std::string missing = missingSymbols(location, limit); !missing.empty())
        say("warning", "some call will end the process: " + missing);
    if (!folderDoes) return cannot("it is not where a host in that folder looks");
    say("verdict", "a host that works in " + location.folder.string() + " loads it as " + location.name);
    return EXIT_SUCCESS;
}

void describe(CLI::App& app, Options& options) {
    app.add_option("module", options.module,
                   "NAME of a module below this folder, or path of NAME.framework or NAME.framework/NAME")
        ->required();
    app.add_option("--from", options.hostFolder, "Require that a host which works in DIR finds the module")
        ->check(CLI::ExistingDirectory)
        ->type_name("DIR");
    app.add_option("--timeout", options.timeoutSeconds,
                   "Seconds after which a module that does not return counts as hanging")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str()
        ->type_name("S");
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IONBF, 0);  // what is buffered would be written by every child that ends
    CLI::App app("Says whether a LumetraCore host can load a module, and if not, why.");
    Options options;
    describe(app, options);
    try {
        app.parse(argc, argv);
        return inspect(options);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : EXIT_FAILED;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumetra-inspect: %s\n", error.what());
        return EXIT_FAILED;
    }
}
