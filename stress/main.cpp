// main.cpp - lumetra-stress: one subject, one line. Exit status: 0 kept, 1 broken, others for no measurement.
#include <CLI/CLI.hpp>

#include "stress/host.h"

int main(int argc, char** argv) {
    const std::map<std::string, Subject*> subjects = {
        {"steady", steadyLoad},   {"overload", overload},          {"stuck", stuckModules},
        {"lifecycle", lifeCycle}, {"modules", misbehavingModules}, {"sink", logSinks}};
    std::string chosen;
    Settings settings;
    CLI::App app("Measures what LumetraCore keeps up under load and faults.", "lumetra-stress");
    app.add_option("subject", chosen)->required()->check(CLI::IsMember(&subjects));
    app.add_option("--seconds", settings.seconds, "Length of each steady load and overload (default: 4)")
        ->check(CLI::Range(1, 86400));
    app.add_option("--seed", settings.seed, "Of everything that is left to chance (default: 1)");
    CLI11_PARSE(app, argc, argv);

    // Modules are opened from the working folder.
    std::filesystem::current_path(std::filesystem::read_symlink("/proc/self/exe").parent_path());
    Verdict verdict;
    subjects.at(chosen)(settings, verdict);
    return verdict.report(chosen.c_str()) ? 0 : 1;
}
