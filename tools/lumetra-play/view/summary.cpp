// summary.cpp - figures as lines of text.
#include "tools/lumetra-play/view/summary.h"

#include <cstdio>

namespace {

std::string decimal(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string line(const char* name, const std::string& value) {
    char text[32];
    std::snprintf(text, sizeof text, "  %-10s ", name);
    return text + value + "\n";
}

std::string checkText(const PixelCheck::Result& check) {
    std::string text =
        "checked " + std::to_string(check.checked) + " frames, " + std::to_string(check.differ) + " differ";
    if (!check.firstDifference.empty()) text += " (first: " + check.firstDifference + ")";
    return text;
}

}  // namespace

std::string summaryText(const Summary& summary) {
    const PlayResult& play = summary.play;
    const MonitorReport& monitor = play.monitor;
    std::string text = summary.sourceName + ": " + summary.picture.sizeText() + " " +
                       formatName(summary.picture.format) + ", " + decimal(play.seconds, 1) + " s\n";
    text += line("pushed", std::to_string(play.pushed) + " frames");
    text += line("told", std::to_string(monitor.distinct) + " frames, " + std::to_string(play.lost) +
                             " lost, " + std::to_string(monitor.duplicates) + " duplicates");
    text += line("rate", decimal(monitor.framesPerSecond, 1) + " frames/s");
    text += line("latency", "median " + millisecondsText(monitor.medianUs) + ", p99 " +
                                millisecondsText(monitor.p99Us) + " from push to notification");
    if (monitor.newestFrame >= 0) text += line("mean grey", decimal(monitor.meanGrey, 1));
    if (monitor.unread > 0) text += line("unread", std::to_string(monitor.unread) + " frames were not grey");
    text += line("cpu", decimal(play.load.cpuPercent, 0) + " %, " + decimal(play.load.wakeUpsPerSecond, 0) +
                            " wake-ups/s");
    text += line("log", std::to_string(summary.log.lines) + " lines, " +
                            std::to_string(summary.log.warnings) + " warnings");
    if (summary.check) text += line("check", checkText(*summary.check));
    if (summary.exchange)
        text += line("host", std::to_string(summary.exchange->descriptors) + " descriptors answered, " +
                                 std::to_string(summary.exchange->pictures) + " pictures saved, " +
                                 std::to_string(summary.exchange->failedWrites) + " not saved");
    if (!summary.sheet.empty()) text += line("sheet", summary.sheet);
    if (!summary.remark.empty()) text += line("remark", summary.remark);
    return text;
}

bool checkPassed(const Summary& summary) {
    return !summary.check || (summary.check->differ == 0 && summary.check->checked > 0);
}
