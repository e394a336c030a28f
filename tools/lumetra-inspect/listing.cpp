// listing.cpp - folders, and questions to modules that are only loaded.
#include "tools/lumetra-inspect/listing.h"

#include <algorithm>

#include "tools/lumetra-inspect/guarded_child.h"
#include "tools/lumetra-inspect/stamp.h"
#include "tools/lumetra-inspect/symbol_table.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"

namespace {

namespace fs = std::filesystem;

void ask(const Bench& bench) {
    LoadedModule module(bench);
    bench.lines.tell("id", std::to_string(module.getModuleID()));
    if (module.has("getStatus")) bench.lines.tell("status", std::to_string(module.getStatus()));
    for (const std::int32_t kind : offeredKinds(module)) bench.lines.tell("kind", std::to_string(kind));
}

void askModule(ModuleSummary& summary, std::chrono::milliseconds limit) {
    const std::string configuration;
    const auto work = [&](const ChildLines& lines) {
        try {
            ask({summary.location, configuration, 0, lines});
        } catch (const Finding& finding) {
            lines.tell("fault", finding.reason);
        }
    };
    const ChildResult child = runGuarded(work, {limit, false});
    for (const auto& [kind, text] : child.lines) {
        if (kind == "id") summary.id = std::stoi(text);
        if (kind == "status") summary.status = std::stoi(text);
        if (kind == "kind") summary.callbacks.push_back(std::stoi(text));
        if (kind == "fault") summary.fault = text;
    }
    if (!child.finished) summary.fault = "it " + child.fault;
}

}  // namespace

std::vector<ModuleLocation> modulesIn(const fs::path& folder) {
    std::vector<ModuleLocation> modules;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::error_code ignored;
        const fs::path file = entry.path() / entry.path().stem();
        if (entry.path().extension() == ".framework" && fs::is_regular_file(file, ignored))
            modules.push_back(locateModule(entry.path().string()));
    }
    std::sort(modules.begin(), modules.end(),
              [](const ModuleLocation& a, const ModuleLocation& b) { return a.name < b.name; });
    return modules;
}

ModuleSummary summarize(const ModuleLocation& location, std::chrono::milliseconds limit) {
    ModuleSummary summary;
    summary.location = location;
    const SymbolTable table = readSymbolTable(location.file, summary.fault);
    if (!summary.fault.empty()) return summary;
    for (const std::string& symbol : ENTRY_POINTS)
        if (table.exported.contains(symbol)) summary.entryPoints.push_back(symbol);
    if (const auto stamp = readStamp(table)) {
        summary.version = stamp->version;
        summary.description = stamp->description;
        for (const auto mismatch : {interfaceMismatch, frameMismatch, libraryMismatch})
            if (summary.fault.empty()) summary.fault = mismatch(*stamp);
    }
    if (summary.fault.empty()) askModule(summary, limit);
    return summary;
}
