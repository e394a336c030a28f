// monitor_link.cpp - reading what FrameMonitor logs.
#include "tools/lumetra-play/modules/monitor_link.h"

#include <nlohmann/json.hpp>

std::optional<MonitorReport> readReport(const Json& line) try {
    if (line.value("frameMonitor", "") != "report") return std::nullopt;
    const auto number = [&line](const char* path, auto otherwise) {
        return line.value(Json::json_pointer(path), otherwise);
    };
    constexpr std::int64_t NONE = 0;
    return MonitorReport{number("/distinct", NONE),
                         number("/duplicates", NONE),
                         number("/unread", NONE),
                         number("/fps", 0.0),
                         number("/latencyUs/median", NONE),
                         number("/latencyUs/p99", NONE),
                         number("/latencyUs/max", NONE),
                         number("/mean", 0.0),
                         number("/newest/frame", std::int64_t{-1})};
} catch (const Json::exception&) {
    return std::nullopt;
}

std::optional<FrameDigests> readDigests(const Json& line) try {
    if (line.value("frameMonitor", "") != "frame") return std::nullopt;
    FrameDigests found{line.at("frame"), {}};
    const Json& list = line.at("digests");
    for (std::size_t k = 0; k < found.levels.size(); ++k)
        if (!list.at(k).is_null()) found.levels[k] = list.at(k);
    return found;
} catch (const Json::exception&) {
    return std::nullopt;
}

MonitorLink::MonitorLink(const LibraryTable& library, PixelCheck* check)
    : m_library(library), m_check(check) {
    s_current = this;
    m_library.registerCallback(FRAMEMONITOR_ID, CB_LOG, reinterpret_cast<void*>(&onLine), nullptr);
}

MonitorLink::~MonitorLink() {
    // After this the module calls no more, so nobody can still be using the link.
    m_library.unregisterCallback(FRAMEMONITOR_ID, CB_LOG);
    s_current = nullptr;
}

MonitorReport MonitorLink::report() {
    command(FRAMEMONITOR_CMD_REPORT, "");
    const std::lock_guard lock(m_mutex);
    return m_report;
}

std::int64_t MonitorLink::delivered(std::optional<std::int64_t> before) const {
    return command(FRAMEMONITOR_CMD_COUNT, before ? std::to_string(*before) : "");
}

int MonitorLink::snapshot(const std::string& prefix) const {
    return command(FRAMEMONITOR_CMD_SNAPSHOT, prefix);
}

int MonitorLink::command(std::int32_t number, const std::string& text) const {
    return m_library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(number), toUtf16(text).c_str());
}

void MonitorLink::onLine(std::int32_t, const char16_t* text) {
    if (MonitorLink* const link = s_current) link->take(parseJson(toUtf8(text)));
}

void MonitorLink::take(const Json& line) {
    if (const auto report = readReport(line)) {
        const std::lock_guard lock(m_mutex);
        m_report = *report;
    } else if (m_check != nullptr) {
        if (const auto found = readDigests(line)) m_check->found(found->frame, found->levels);
    }
}
