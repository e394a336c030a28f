// runner.h - checks in processes of their own, several at a time, those first that others need.
#ifndef LUMETRA_INSPECT_RUNNER_H
#define LUMETRA_INSPECT_RUNNER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/lumetra-inspect/module_location.h"
#include "tools/lumetra-inspect/trial/check.h"

struct TrialOptions {
    std::uint32_t seed = 1;
    std::string configuration = "{}";
    std::chrono::milliseconds limit{10000};  // of each check
    unsigned jobs = 1;
    bool strict = false;         // what is doubtful fails
    std::set<std::string> only;  // names of checks, run whatever they need; empty: all of them
};

struct CheckResult {
    const Check* check = nullptr;
    Finding finding;
};

/// Microseconds of `notifyNewData`, over so many frames of 640 x 480.
struct RunTime {
    double median = 0, percentile99 = 0;
    int frames = 0;
};

struct ModuleReport {
    ModuleLocation location;
    std::vector<CheckResult> results;  // in the order of the table
    std::optional<RunTime> runTime;

    int count(Verdict verdict) const;
    bool isSound() const { return count(Verdict::Fail) == 0; }
};

/// Tries each module and hands its report over as soon as it is complete, in their order. The program must
/// have no other threads.
/// @throws std::exception if this program failed, and Interrupted, see interruption.h
void tryModules(const std::vector<ModuleLocation>& modules, const TrialOptions& options,
                const std::function<void(const ModuleReport&)>& report);

#endif
