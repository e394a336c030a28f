// monitor_link.cpp - reading what FrameMonitor logs.
#include "tools/lumetra-play/modules/monitor_link.h"

#include <atomic>
#include <charconv>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/modules/known_modules.h"
#include "tools/lumetra-play/run/text.h"

namespace {

std::atomic<MonitorLink*> currentLink = nullptr;

bool isLine(const Json& document, const char* kind) {
    return document.is_object() && document.value("frameMonitor", Json()) == kind;
}

std::optional<std::uint64_t> digest(const Json& value) {
    if (!value.is_string()) return std::nullopt;
    const auto& text = value.get_ref<const std::string&>();
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, 16);
    return number;
}

}  // namespace

bool readReport(const std::string& line, MonitorReport& report) {
    const Json document = parseJson(line);
    if (!isLine(document, "report")) return false;
    const Json latency = document.value("latencyUs", Json()), newest = document.value("newest", Json());
    report.frames = integerIn(document, "frames");
    report.distinct = integerIn(document, "distinct");
    report.duplicates = integerIn(document, "duplicates");
    report.unread = integerIn(document, "unread");
    report.framesPerSecond = numberIn(document, "fps");
    report.medianUs = integerIn(latency, "median");
    report.p99Us = integerIn(latency, "p99");
    report.maxUs = integerIn(latency, "max");
    report.meanGrey = numberIn(document, "mean");
    report.newestFrame = integerIn(newest, "frame", -1);
    return true;
}

bool readDigests(const std::string& line, std::int32_t& frame, LevelDigests& digests) {
    const Json document = parseJson(line);
    if (!isLine(document, "frame")) return false;
    const Json list = document.value("digests", Json());
    const std::int64_t number = integerIn(document, "frame", -1);
    if (number < 0 || !list.is_array() || list.size() != digests.size()) return false;
    frame = static_cast<std::int32_t>(number);
    for (std::size_t k = 0; k < digests.size(); ++k) digests[k] = digest(list[k]);
    return true;
}

MonitorLink::MonitorLink(const LibraryTable& library, PixelCheck* check)
    : m_library(library), m_check(check) {
    currentLink = this;
    m_library.registerCallback(frame_monitor::ID, CB_LOG, reinterpret_cast<void*>(&onLine), nullptr);
    const char16_t* const configuration =
        check != nullptr ? u"{\"histogram\":false,\"digest\":true}" : u"{\"histogram\":false}";
    m_library.initializeDllByID(frame_monitor::ID, configuration);
}

MonitorLink::~MonitorLink() {
    // After this the module calls no more, so nobody can still be using the link.
    m_library.unregisterCallback(frame_monitor::ID, CB_LOG);
    currentLink = nullptr;
}

MonitorReport MonitorLink::report() {
    command(frame_monitor::REPORT, "");
    const std::lock_guard lock(m_mutex);
    return m_report;
}

std::int64_t MonitorLink::delivered() const {
    return command(frame_monitor::COUNT, "");
}

std::int64_t MonitorLink::deliveredBefore(std::int64_t frame) const {
    return command(frame_monitor::COUNT, std::to_string(frame));
}

int MonitorLink::snapshot(const std::string& prefix) const {
    return command(frame_monitor::SNAPSHOT, prefix);
}

int MonitorLink::command(LUMETRA_CMDTYPE number, const std::string& text) const {
    return m_library.command(frame_monitor::ID, number, toUtf16(text).c_str());
}

void MonitorLink::onLine(std::int32_t, const char16_t* text) {
    if (MonitorLink* const link = currentLink) link->take(toUtf8(text));
}

void MonitorLink::take(const std::string& line) {
    std::int32_t frame = 0;
    LevelDigests digests;
    MonitorReport report;
    if (readReport(line, report)) {
        const std::lock_guard lock(m_mutex);
        m_report = report;
    } else if (m_check != nullptr && readDigests(line, frame, digests)) {
        m_check->found(frame, digests);
    }
}
