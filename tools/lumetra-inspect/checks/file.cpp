// file.cpp - what can be known of a module before any of its code is run.
#include <algorithm>

#include "tools/lumetra-inspect/loader_trace.h"
#include "tools/lumetra-inspect/stamp.h"
#include "tools/lumetra-inspect/symbol_table.h"
#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"
#include "tools/support/module_files.h"

namespace {

SymbolTable tableOf(const Bench& bench) {
    std::string fault;
    SymbolTable table = readSymbolTable(bench.location.file, fault);
    if (!fault.empty()) fail("it is " + fault);
    return table;
}

void isLibrary(const Bench& bench) {
    tableOf(bench);
}

void liesWhereItIsFound(const Bench& bench) {
    const std::string file = bench.location.file.filename().string();
    if (bench.location.name.empty()) fail("a host finds it as " + moduleFile({}, file).string() + " only");
}

// As the entry points read where they are compiled as C++; std::__1 is libc++'s.
const std::vector<std::string> OWN_SIGNATURES = {"getModuleID()",
                                                 "initialize(char const*)",
                                                 "registerCallback(LUMETRA_CBTYPE, void*, void*)",
                                                 "unregisterCallback(LUMETRA_CBTYPE)",
                                                 "getSupportedCallbacks(LUMETRA_CBTYPE*)",
                                                 "command(LUMETRA_CMDTYPE, char const*)",
                                                 "notifyNewData(unsigned long, std::shared_ptr<IChnk>)",
                                                 "notifyNewData(unsigned long, std::__1::shared_ptr<IChnk>)",
                                                 "getStatus()",
                                                 "destroy()"};

std::string describeMangled(const std::vector<std::string>& names) {
    return joined(names, "; ") + (names.size() == 1 ? " is a C++ function" : " are C++ functions") +
           " that no host finds: declare it by LumetraCore/LumetraModule.h, with the same parameters";
}

// A function of another signature may only happen to have the name.
void hasPlainNames(const Bench& bench) {
    const SymbolTable table = tableOf(bench);
    std::vector<std::string> own, alike;
    for (const std::string& symbol : table.exported) {
        const std::string name = demangled(symbol);
        if (name == symbol) continue;
        const bool isOwn = std::count(OWN_SIGNATURES.begin(), OWN_SIGNATURES.end(), name) > 0;
        for (const std::string& entryPoint : ENTRY_POINTS)
            if (name.starts_with(entryPoint + "(") && !table.exported.contains(entryPoint))
                (isOwn ? own : alike).push_back(name);
    }
    if (!own.empty()) fail(describeMangled(own));
    if (!alike.empty()) doubt(describeMangled(alike));
}

void exportsId(const Bench& bench) {
    if (!tableOf(bench).exported.contains("getModuleID")) fail("it exports no getModuleID");
}

void isStamped(const Bench& bench) {
    if (!readStamp(tableOf(bench)))
        doubt("it was not built by lumetra_add_module(), so nobody knows what it was built with");
}

LumetraModuleStamp stampOf(const Bench& bench) {
    const auto stamp = readStamp(tableOf(bench));
    if (!stamp) skip("it is not stamped");
    return *stamp;
}

void failOn(const std::string& mismatch) {
    if (!mismatch.empty()) fail(mismatch);
}

void fitsInterface(const Bench& bench) {
    failOn(interfaceMismatch(stampOf(bench)));
}

void fitsFrame(const Bench& bench) {
    failOn(frameMismatch(stampOf(bench)));
}

void fitsStandardLibrary(const Bench& bench) {
    failOn(libraryMismatch(stampOf(bench)));
}

void findsLibraries(const Bench& bench) {
    const LoaderTrace trace = traceLoader(bench.location.file);
    if (!trace.missingLibraries.empty()) fail("not found: " + joined(trace.missingLibraries, ", "));
}

void findsSymbols(const Bench& bench) {
    const LoaderTrace trace = traceLoader(bench.location.file);
    if (trace.missingSymbols.empty()) return;
    std::string hint;
    for (const std::string& symbol : trace.missingSymbols)
        if (symbol.starts_with("IChnk::") || symbol.starts_with("LumetraCore_"))
            hint = "; link LumetraCore::LumetraCore, since a host need not pass the engine's names on";
    fail("undefined symbols; calling one ends the process: " + joined(trace.missingSymbols, ", ") + hint);
}

}  // namespace

std::vector<Check> fileChecks() {
    return {
        {"file", "The file is a shared library for this machine.", "", isLibrary},
        {"place", "It lies as NAME.framework/NAME, where hosts look for it.", "file", liesWhereItIsFound},
        {"plain-names", "No entry point is exported under a C++ name.", "file", hasPlainNames},
        {"id-exported", "It exports getModuleID.", "plain-names", exportsId},
        {"stamped", "It carries the stamp of the build helper.", "file", isStamped},
        {"stamp-interface", "It was built for this version of the module interface.", "file", fitsInterface},
        {"stamp-frame", "It was built with this layout of the frame record.", "file", fitsFrame},
        {"stamp-library", "It was built with the engine's standard library.", "file", fitsStandardLibrary},
        {"libraries", "Every library that it needs is found.", "file", findsLibraries},
        {"symbols", "Every function and variable that it uses is defined.", "libraries", findsSymbols},
    };
}
