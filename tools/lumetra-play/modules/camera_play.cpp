// camera_play.cpp - starting the camera, watching it, stopping it.
#include "tools/lumetra-play/modules/camera_play.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "base/json_writing.h"
#include "plugins/CameraSource/CameraSource.h"
#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto GIVE_UP_AFTER = 2s;  // without a further frame told

std::atomic<CameraPlay*> currentPlay = nullptr;

std::int64_t count(const JsonDocument& document, const char* name) {
    const JsonValue* const value = findMember(&document, name);
    return value != nullptr && value->IsInt64() ? value->GetInt64() : 0;
}

}  // namespace

std::string cameraConfiguration(const Options& options, const Picture& picture) {
    JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    writer.Key("source");
    writeString(writer, options.camera);
    writer.Key("width");
    writer.Int(picture.width);
    writer.Key("height");
    writer.Int(picture.height);
    writer.Key("format");
    writer.String(formatName(picture.format));
    if (options.framesPerSecond) {
        writer.Key("fps");
        writer.Double(*options.framesPerSecond);
    }
    writer.Key("loop");
    writer.Bool(options.loop);
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

CameraPlay::CameraPlay(const LibraryTable& library, MonitorLink& monitor, const StopRequest& stop)
    : m_library(library), m_monitor(monitor), m_stop(stop) {
    currentPlay = this;
    m_library.registerCallback(CAMERASOURCE_ID, CB_LOG, reinterpret_cast<void*>(&onLine), nullptr);
    m_library.registerCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE, nullptr, nullptr);
}

CameraPlay::~CameraPlay() {
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");
    m_library.unregisterCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE);
    m_library.unregisterCallback(CAMERASOURCE_ID, CB_LOG);
    currentPlay = nullptr;
}

PlayResult CameraPlay::play(std::int64_t frames) {
    LoadMeter load, liveLoad;
    const auto start = Clock::now();
    if (m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_START, u"") != 1)
        throw PlayError("the camera does not start: check --size and --format");
    while (!m_stop.requested() && m_library.getStatus(CAMERASOURCE_ID) == STATUS_READY) {
        const Report now = report();
        if (frames > 0 && now.pushed >= frames) break;
        if (m_progress.due()) {
            const MonitorReport told = m_monitor.report();
            m_progress.show({now.pushed, told.distinct, 0, told.medianUs, told.p99Us, liveLoad.load()});
            liveLoad.restart();
        }
        if (!m_stop.waitUntil(Clock::now() + 2ms)) break;
    }
    const std::int32_t status = m_library.getStatus(CAMERASOURCE_ID);
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");

    PlayResult result;
    result.pushed = report().pushed;
    if (status == CAMERASOURCE_STATUS_FAILED) throw PlayError("the camera failed: " + m_complaint);
    if (result.pushed == 0 && !m_stop.requested())
        throw PlayError("the camera gave no whole frame: check --size and --format against it");
    for (auto last = Clock::now(); m_monitor.told() < result.pushed && Clock::now() - last < GIVE_UP_AFTER;)
        std::this_thread::sleep_for(1ms);
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.load = load.load();
    result.monitor = m_monitor.report();
    result.lost = result.pushed - result.monitor.distinct;
    return result;
}

CameraPlay::Report CameraPlay::report() {
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMDTYPE(CAMERASOURCE_CMD_REPORT), u"");
    const std::lock_guard lock(m_mutex);
    return m_report;
}

void CameraPlay::onLine(std::int32_t level, const char16_t* text) {
    CameraPlay* const play = currentPlay;
    if (play == nullptr) return;
    const std::string line = toUtf8(text);
    const JsonDocument document = parseJson(line.c_str());
    const std::lock_guard lock(play->m_mutex);
    if (readString(&document, "cameraSource") == "report") {
        play->m_report = {count(document, "pushed"), count(document, "refused")};
        return;
    }
    play->m_complaint = line;
    onLogLine(level, text);
}
