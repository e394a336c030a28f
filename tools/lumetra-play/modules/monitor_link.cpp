// monitor_link.cpp - reading what FrameMonitor logs.
#include "tools/lumetra-play/modules/monitor_link.h"

#include <atomic>
#include <charconv>
#include <string_view>

#include "base/json_reading.h"
#include "plugins/FrameMonitor/FrameMonitor.h"
#include "tools/lumetra-play/run/text.h"

namespace {

std::atomic<MonitorLink*> currentLink = nullptr;

bool isLine(const JsonDocument& document, std::string_view kind) {
    return readString(&document, "frameMonitor") == kind;
}

std::int64_t count(const JsonValue* object, const char* name) {
    const JsonValue* value = findMember(object, name);
    return value != nullptr && value->IsInt64() ? value->GetInt64() : 0;
}

double real(const JsonValue* object, const char* name) {
    const JsonValue* value = findMember(object, name);
    return value != nullptr && value->IsNumber() ? value->GetDouble() : 0;
}

std::optional<std::uint64_t> digest(const JsonValue& value) {
    if (!value.IsString()) return std::nullopt;
    std::uint64_t number = 0;
    const char* const text = value.GetString();
    std::from_chars(text, text + value.GetStringLength(), number, 16);
    return number;
}

}  // namespace

bool readReport(const std::string& line, MonitorReport& report) {
    const JsonDocument document = parseJson(line.c_str());
    if (!isLine(document, "report")) return false;
    const JsonValue* latency = findMember(&document, "latencyUs");
    report.frames = count(&document, "frames");
    report.distinct = count(&document, "distinct");
    report.duplicates = count(&document, "duplicates");
    report.unread = count(&document, "unread");
    report.framesPerSecond = real(&document, "fps");
    report.medianUs = count(latency, "median");
    report.p99Us = count(latency, "p99");
    report.meanGrey = real(&document, "mean");
    report.newestFrame = readInteger(findMember(&document, "newest"), "frame").value_or(-1);
    return true;
}

bool readDigests(const std::string& line, std::int32_t& frame, LevelDigests& digests) {
    const JsonDocument document = parseJson(line.c_str());
    const JsonValue* list = findMember(&document, "digests");
    const auto number = readInteger(&document, "frame");
    if (!isLine(document, "frame") || !number || list == nullptr || !list->IsArray()) return false;
    if (list->Size() != digests.size()) return false;
    frame = *number;
    for (rapidjson::SizeType k = 0; k < list->Size(); ++k) digests[k] = digest((*list)[k]);
    return true;
}

MonitorLink::MonitorLink(const LibraryTable& library, PixelCheck* check)
    : m_library(library), m_check(check) {
    currentLink = this;
    m_library.registerCallback(FRAMEMONITOR_ID, CB_LOG, reinterpret_cast<void*>(&onLine), nullptr);
    const char16_t* const configuration =
        check != nullptr ? u"{\"histogram\":false,\"digest\":true}" : u"{\"histogram\":false}";
    m_library.initializeDllByID(FRAMEMONITOR_ID, configuration);
}

MonitorLink::~MonitorLink() {
    // After this the module calls no more, so nobody can still be using the link.
    m_library.unregisterCallback(FRAMEMONITOR_ID, CB_LOG);
    currentLink = nullptr;
}

MonitorReport MonitorLink::report() {
    m_library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(FRAMEMONITOR_CMD_REPORT), u"");
    const std::lock_guard lock(m_mutex);
    return m_report;
}

std::int64_t MonitorLink::told() const {
    return m_library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(FRAMEMONITOR_CMD_COUNT), u"");
}

std::int64_t MonitorLink::toldBefore(std::int32_t frame) const {
    const std::u16string text = toUtf16(std::to_string(frame));
    return m_library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(FRAMEMONITOR_CMD_COUNT), text.c_str());
}

int MonitorLink::snapshot(const std::string& prefix) const {
    const std::u16string text = toUtf16(prefix);
    return m_library.command(FRAMEMONITOR_ID, LUMETRA_CMDTYPE(FRAMEMONITOR_CMD_SNAPSHOT), text.c_str());
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
