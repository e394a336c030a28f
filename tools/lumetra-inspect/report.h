// report.h - what was found, as plain lines and as JSON.
#ifndef LUMETRA_INSPECT_REPORT_H
#define LUMETRA_INSPECT_REPORT_H

#include <nlohmann/json.hpp>

#include "tools/lumetra-inspect/listing.h"
#include "tools/lumetra-inspect/trial/runner.h"

void printReport(const ModuleReport& report, const TrialOptions& options);
nlohmann::ordered_json describeReport(const ModuleReport& report, const TrialOptions& options);

void printSummary(const ModuleSummary& summary);
nlohmann::ordered_json describeSummary(const ModuleSummary& summary);

void printChecks();
nlohmann::ordered_json describeChecks();

/// One line of JSON; bytes that are no text are replaced.
void printJson(const nlohmann::ordered_json& json);

#endif
