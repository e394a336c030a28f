// inspection.cpp - what the file says, what a load shows, and the verdict.
#include "tools/lumetra-inspect/inspection.h"

#include <cstdio>

#include "tools/lumetra-inspect/loader_trace.h"
#include "tools/lumetra-inspect/loading.h"
#include "tools/lumetra-inspect/stamp.h"
#include "tools/lumetra-inspect/symbol_table.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/support/module_files.h"
#include "tools/support/terminal.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t UNIQUE_NAMES_SHOWN = 3;

// One line "key  text"; the key is left out where the one before it goes on.
void say(const char* key, const std::string& text) {
    std::printf("%-9s %s\n", key, printable(text).c_str());
}

bool cannot(const std::string& reason) {
    say("verdict", "a host cannot load it: " + reason);
    return false;
}

// Which of the nine entry points there are.
void sayEntryPoints(const SymbolTable& table) {
    std::string present, lacking;
    for (const std::string& symbol : ENTRY_POINTS)
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

void sayLoading(const Loading& loading, const SymbolTable& table) {
    for (const std::string& line : loading.log) say("log", line);
    if (!loading.loaderError.empty()) return;
    if (loading.result) say("id", std::to_string(*loading.result));
    if (loading.status) say("status", std::to_string(*loading.status));
    if (!loading.unmapped) return;
    say("unloads", *loading.unmapped ? "yes" : "no: " + whyMapped(table));
}

std::string faultOf(const Loading& loading) {
    if (!loading.fault.empty()) return "it " + loading.fault;
    if (!loading.loaderError.empty()) return loading.loaderError;
    if (!loading.result) return "it could not be tried";
    if (loading.result == -1) return "it reports no id, or -1, which is none";
    if (loading.result < 1) return "its id is " + std::to_string(*loading.result) + ", and ids begin at 1";
    if (loading.removed == false) return "it cannot be removed again";
    return {};
}

// Where a host has to work; false if the folder that was asked for does not do.
bool sayFolder(const ModuleLocation& location, const fs::path& hostFolder) {
    const fs::path host = hostFolder.empty() ? fs::current_path() : hostFolder;
    const bool resolves = resolvesFrom(host, location);
    say("found", std::string(resolves ? "as " : "not as ") + moduleFile({}, location.name).string() +
                     " from " + host.string());
    if (!resolves) say("hint", "a host finds it while it works in " + location.folder.string());
    return resolves || hostFolder.empty();
}

// What the build helper wrote into it; in which way that does not fit.
std::string sayStamp(const SymbolTable& table) {
    const auto stamp = readStamp(table);
    if (!stamp) return {};
    say("built", std::string("with ") + stamp->standardLibrary + ", for version " +
                     std::to_string(stamp->interfaceVersion) + " of the module interface");
    if (stamp->version[0] != '\0') say("version", stamp->version);
    if (stamp->description[0] != '\0') say("says", stamp->description);
    for (const auto mismatch : {interfaceMismatch, frameMismatch, libraryMismatch})
        if (const std::string reason = mismatch(*stamp); !reason.empty()) return reason;
    return {};
}

void sayMissingSymbols(const ModuleLocation& location) {
    const LoaderTrace trace = traceLoader(location.file);
    if (!trace.missingSymbols.empty())
        say("warning", "the call of any of these ends the process: " + joined(trace.missingSymbols, ", "));
}

bool inspectLibrary(const ModuleLocation& location, const SymbolTable& table, const fs::path& hostFolder,
                    std::chrono::milliseconds limit) {
    if (location.name.empty()) {
        const std::string file = location.file.filename().string();
        return cannot("a module is found as NAME.framework/NAME; put this one at " +
                      moduleFile({}, file).string());
    }
    const bool folderDoes = sayFolder(location, hostFolder);
    const Loading loading = tryLoading(location, limit);
    sayLoading(loading, table);
    if (const std::string fault = faultOf(loading); !fault.empty()) return cannot(fault);

    sayMissingSymbols(location);
    if (!folderDoes) return cannot("it is not where a host in that folder looks");
    say("verdict", "a host that works in " + location.folder.string() + " loads it as " + location.name);
    return true;
}

}  // namespace

bool inspectModule(const ModuleLocation& location, const fs::path& hostFolder,
                   std::chrono::milliseconds limit) {
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
    if (const std::string mismatch = sayStamp(table); !mismatch.empty()) return cannot(mismatch);
    return inspectLibrary(location, table, hostFolder, limit);
}
