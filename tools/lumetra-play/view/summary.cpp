// summary.cpp - figures as lines of text and as members of a document.
#include "tools/lumetra-play/view/summary.h"

#include <LumetraCore/LumetraCore.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace {

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

std::string counted(std::int64_t number, const char* what) {
    return std::to_string(number) + " " + what;
}

std::string sourceText(const SourceFacts& source) {
    std::string text = source.codec + " " + source.pixels + ", " + std::to_string(source.width) + "x" +
                       std::to_string(source.height);
    if (source.framesPerSecond > 0) text += formatted(", %.2f frames/s", source.framesPerSecond);
    return text + ", pushed " + source.conversion;
}

std::string checkText(const PixelCheck::Result& check) {
    const std::string& first = check.firstDifference;
    return "checked " + std::to_string(check.checked) + " frames, " + std::to_string(check.differ) +
           " differ" + (first.empty() ? "" : " (first: " + first + ")");
}

std::string moduleText(const Json& module) {
    return "id " + module["id"].dump() + ", status " + module["status"].dump() +
           (module.contains("results") ? ", " + module["results"].dump() + " results" : "") +
           (module["reloads"] > 0 ? ", reloaded " + module["reloads"].dump() + " times" : "");
}

Json sourceJson(const SourceFacts& source) {
    Json json = {{"name", source.name}, {"width", source.width}, {"height", source.height}};
    if (!source.codec.empty())
        json.update(Json{{"container", source.container},
                         {"codec", source.codec},
                         {"pixels", source.pixels},
                         {"rotation", source.rotation}});
    if (source.framesPerSecond > 0) json["framesPerSecond"] = rounded(source.framesPerSecond);
    if (!source.remark.empty()) json["remark"] = source.remark;
    return json;
}

Json figuresJson(const Summary& summary) {
    const MonitorReport& monitor = summary.monitor;
    return {{"seconds", rounded(summary.usage.seconds)},
            {"frames",
             {{"pushed", summary.pushed},
              {"delivered", monitor.distinct},
              {"dropped", {{"refused", summary.refused}, {"byEngine", summary.dropped() - summary.refused}}},
              {"duplicates", monitor.duplicates},
              {"notGrey", monitor.unread},
              {"perSecond", rounded(monitor.framesPerSecond)}}},
            {"latencyUs", {{"median", monitor.medianUs}, {"p99", monitor.p99Us}, {"max", monitor.maxUs}}},
            {"processor",
             {{"percent", rounded(summary.usage.processorPercent())},
              {"seconds", rounded(summary.usage.processorSeconds)},
              {"wakeUpsPerSecond", rounded(summary.usage.wakeUpsPerSecond())}}},
            {"meanGrey", rounded(monitor.meanGrey)}};
}

Json documentOf(ExitStatus status) {
    return {{"lumetra-play", LUMETRA_VERSION}, {"exitStatus", static_cast<int>(status)}};
}

}  // namespace

std::string summaryText(const Summary& summary) {
    const MonitorReport& monitor = summary.monitor;
    std::string text = summary.source.name + ": " + summary.picture.sizeText() + " " +
                       formatName(summary.picture.format) + formatted(", %.1f s", summary.usage.seconds);
    const auto line = [&text](const std::string& name, const std::string& value) {
        if (!value.empty()) text += formatted("\n  %-10s ", name.c_str()) + value;
    };
    line("source", summary.source.codec.empty() ? "" : sourceText(summary.source));
    line("pushed", counted(summary.pushed, "frames"));
    line("delivered", counted(monitor.distinct, "frames, ") + counted(summary.dropped(), "dropped, ") +
                          counted(monitor.duplicates, "duplicates"));
    line("refused", summary.refused > 0 ? counted(summary.refused, "frames, by the library") : "");
    line("rate", formatted("%.1f frames/s", monitor.framesPerSecond));
    line("latency", formatted("median %.2f ms, p99 %.2f ms from push to notification", monitor.medianMs(),
                              monitor.p99Ms()));
    line("mean grey", monitor.newestFrame >= 0 ? formatted("%.1f", monitor.meanGrey) : "");
    line("unread", monitor.unread > 0 ? counted(monitor.unread, "frames were not grey") : "");
    line("cpu", formatted("%.0f %%, %.0f wake-ups/s", summary.usage.processorPercent(),
                          summary.usage.wakeUpsPerSecond()));
    line("log",
         std::to_string(summary.log.lines) + " lines, " + std::to_string(summary.log.warnings) + " warnings");
    for (std::size_t k = 1; k < summary.modules.size(); ++k)  // the first is FrameMonitor
        line(summary.modules[k]["name"], moduleText(summary.modules[k]));
    line("check", summary.check ? checkText(*summary.check) : "");
    if (!summary.host.is_null())
        line("host", summary.host["descriptors"].dump() + " descriptors answered, " +
                         summary.host["pictures"].dump() + " pictures saved, " +
                         summary.host["failedWrites"].dump() + " not saved");
    line("sheet", summary.sheet);
    line("remark", summary.source.remark);
    return text;
}

std::string summaryJson(const Summary& summary, ExitStatus status) {
    Json json = documentOf(status);
    json["source"] = sourceJson(summary.source);
    json["format"] = {{"name", formatName(summary.picture.format)},
                      {"width", summary.picture.width},
                      {"height", summary.picture.height},
                      {"flags", summary.flags},
                      {"pyramid", summary.pyramid},
                      {"conversion", summary.source.conversion}};
    json.update(figuresJson(summary));
    json["log"] = {{"lines", summary.log.lines}, {"warnings", summary.log.warnings}};
    json["modules"] = summary.modules;
    if (const auto& check = summary.check)
        json["check"] = {
            {"checked", check->checked}, {"differ", check->differ}, {"first", check->firstDifference}};
    if (!summary.host.is_null()) json["host"] = summary.host;
    for (const auto& [name, text] :
         {std::pair("view", &summary.page), {"sheet", &summary.sheet}, {"error", &summary.error}})
        if (!text->empty()) json[name] = *text;
    return toText(json);
}

std::string errorJson(const std::string& message, ExitStatus status) {
    Json json = documentOf(status);
    json["error"] = message;
    return toText(json);
}

ExitStatus statusOf(const Summary& summary, bool interrupted, bool strict) {
    const bool unsaved = !summary.host.is_null() && summary.host["failedWrites"] > 0;
    if (unsaved || !summary.error.empty()) return EXIT_ERROR;
    if (summary.check && summary.check->differ > 0) return EXIT_WRONG_PIXELS;
    if (interrupted) return EXIT_INTERRUPTED;
    if (summary.check && summary.check->checked == 0) return EXIT_WRONG_PIXELS;
    if (summary.monitor.distinct == 0 || (strict && summary.dropped() > 0)) return EXIT_UNDELIVERED;
    return EXIT_AS_ASKED;
}
