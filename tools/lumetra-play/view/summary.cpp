// summary.cpp - figures as lines of text and as members of a document.
#include "tools/lumetra-play/view/summary.h"

#include <LumetraCore/LumetraCore.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/run/text.h"

namespace {

std::string decimal(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

double rounded(double value) {
    return static_cast<double>(static_cast<std::int64_t>(value * 1000 + 0.5)) / 1000;
}

std::string line(const char* name, const std::string& value) {
    char text[32];
    std::snprintf(text, sizeof text, "  %-10s ", name);
    return text + value + "\n";
}

std::string sourceText(const SourceFacts& source) {
    std::string text = source.codec + " " + source.pixels + ", " + std::to_string(source.width) + "x" +
                       std::to_string(source.height);
    if (source.framesPerSecond > 0) text += ", " + decimal(source.framesPerSecond, 2) + " frames/s";
    return text + ", pushed " + source.conversion;
}

std::string checkText(const PixelCheck::Result& check) {
    std::string text =
        "checked " + std::to_string(check.checked) + " frames, " + std::to_string(check.differ) + " differ";
    if (!check.firstDifference.empty()) text += " (first: " + check.firstDifference + ")";
    return text;
}

std::string moduleText(const ModuleReport& module) {
    std::string text = "id " + std::to_string(module.id) + ", status " + std::to_string(module.status);
    if (module.results) text += ", " + std::to_string(*module.results) + " results";
    if (module.swaps > 0) text += ", loaded anew " + std::to_string(module.swaps) + " times";
    return text;
}

std::string countText(std::int64_t number, const char* what) {
    return std::to_string(number) + " " + what;
}

Json sourceJson(const Summary& summary) {
    const SourceFacts& source = summary.source;
    Json json = {{"name", source.name}, {"width", source.width}, {"height", source.height}};
    if (!source.codec.empty()) {
        json["container"] = source.container;
        json["codec"] = source.codec;
        json["pixels"] = source.pixels;
        json["rotation"] = source.rotation;
    }
    if (source.framesPerSecond > 0) json["framesPerSecond"] = rounded(source.framesPerSecond);
    if (!summary.remark.empty()) json["remark"] = summary.remark;
    return json;
}

Json moduleJson(const ModuleReport& module) {
    Json json = {
        {"name", module.name}, {"id", module.id}, {"status", module.status}, {"loadedAnew", module.swaps}};
    if (module.results) {
        json["results"] = *module.results;
        json["lastResult"] = parseJson(module.lastResult);
    }
    return json;
}

}  // namespace

std::string summaryText(const Summary& summary) {
    const PlayResult& play = summary.play;
    const MonitorReport& monitor = play.monitor;
    std::string text = summary.source.name + ": " + summary.picture.sizeText() + " " +
                       formatName(summary.picture.format) + ", " + decimal(play.usage.seconds, 1) + " s\n";
    if (!summary.source.codec.empty()) text += line("source", sourceText(summary.source));
    text += line("pushed", countText(play.pushed, "frames"));
    text +=
        line("delivered", countText(monitor.distinct, "frames, ") + countText(play.dropped(), "dropped, ") +
                              countText(monitor.duplicates, "duplicates"));
    if (play.refused > 0) text += line("refused", countText(play.refused, "frames, by the library"));
    text += line("rate", decimal(monitor.framesPerSecond, 1) + " frames/s");
    text += line("latency", "median " + millisecondsText(monitor.medianUs) + ", p99 " +
                                millisecondsText(monitor.p99Us) + " from push to notification");
    if (monitor.newestFrame >= 0) text += line("mean grey", decimal(monitor.meanGrey, 1));
    if (monitor.unread > 0) text += line("unread", countText(monitor.unread, "frames were not grey"));
    text += line("cpu", decimal(play.usage.processorPercent(), 0) + " %, " +
                            decimal(play.usage.wakeUpsPerSecond(), 0) + " wake-ups/s");
    text += line("log", countText(static_cast<std::int64_t>(summary.log.lines), "lines, ") +
                            countText(static_cast<std::int64_t>(summary.log.warnings), "warnings"));
    for (std::size_t k = 1; k < summary.modules.size(); ++k)  // the first is FrameMonitor
        text += line(summary.modules[k].name.c_str(), moduleText(summary.modules[k]));
    if (summary.check) text += line("check", checkText(*summary.check));
    if (summary.exchange)
        text += line("host", countText(summary.exchange->descriptors, "descriptors answered, ") +
                                 countText(summary.exchange->pictures, "pictures saved, ") +
                                 countText(summary.exchange->failedWrites, "not saved"));
    if (!summary.sheet.empty()) text += line("sheet", summary.sheet);
    if (!summary.remark.empty()) text += line("remark", summary.remark);
    return text;
}

std::string summaryJson(const Summary& summary, ExitStatus status) {
    const PlayResult& play = summary.play;
    const MonitorReport& monitor = play.monitor;
    Json json;
    json["lumetra-play"] = LUMETRA_VERSION;
    json["exitStatus"] = static_cast<int>(status);
    json["source"] = sourceJson(summary);
    json["format"] = {{"name", formatName(summary.picture.format)},
                      {"width", summary.picture.width},
                      {"height", summary.picture.height},
                      {"flags", summary.flags},
                      {"pyramid", summary.pyramid},
                      {"conversion", summary.source.conversion}};
    json["seconds"] = rounded(play.usage.seconds);
    json["frames"] = {{"pushed", play.pushed},
                      {"delivered", monitor.distinct},
                      {"dropped", {{"refused", play.refused}, {"byEngine", play.dropped() - play.refused}}},
                      {"duplicates", monitor.duplicates},
                      {"notGrey", monitor.unread},
                      {"perSecond", rounded(monitor.framesPerSecond)}};
    json["latencyUs"] = {{"median", monitor.medianUs}, {"p99", monitor.p99Us}, {"max", monitor.maxUs}};
    json["processor"] = {{"percent", rounded(play.usage.processorPercent())},
                         {"seconds", rounded(play.usage.processorSeconds)},
                         {"wakeUpsPerSecond", rounded(play.usage.wakeUpsPerSecond())}};
    json["meanGrey"] = rounded(monitor.meanGrey);
    json["log"] = {{"lines", summary.log.lines}, {"warnings", summary.log.warnings}};
    json["modules"] = Json::array();
    for (const ModuleReport& module : summary.modules) json["modules"].push_back(moduleJson(module));
    if (summary.check)
        json["check"] = {{"checked", summary.check->checked},
                         {"differ", summary.check->differ},
                         {"first", summary.check->firstDifference}};
    if (summary.exchange)
        json["host"] = {{"descriptors", summary.exchange->descriptors},
                        {"pictures", summary.exchange->pictures},
                        {"failedWrites", summary.exchange->failedWrites}};
    if (!summary.page.empty()) json["view"] = summary.page;
    if (!summary.sheet.empty()) json["sheet"] = summary.sheet;
    return toText(json);
}

std::string errorJson(const std::string& message, ExitStatus status) {
    return toText(
        {{"lumetra-play", LUMETRA_VERSION}, {"exitStatus", static_cast<int>(status)}, {"error", message}});
}

ExitStatus statusOf(const Summary& summary, bool interrupted, bool strict) {
    const PlayResult& play = summary.play;
    if (summary.exchange && summary.exchange->failedWrites > 0) return EXIT_ERROR;
    if (summary.check && summary.check->differ > 0) return EXIT_WRONG_PIXELS;
    if (interrupted) return EXIT_INTERRUPTED;
    if (summary.check && summary.check->checked == 0) return EXIT_WRONG_PIXELS;
    if (play.monitor.distinct == 0 || (strict && play.dropped() > 0)) return EXIT_UNDELIVERED;
    return EXIT_AS_ASKED;
}
