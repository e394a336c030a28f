// camera_play.cpp - starting the camera, watching it, stopping it.
#include "tools/lumetra-play/modules/camera_play.h"

#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/modules/known_modules.h"
#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::atomic<CameraPlay*> currentPlay = nullptr;

}  // namespace

std::string cameraConfiguration(const Options& options, const Picture& picture) {
    Json configuration = {
        {"source", options.camera},
        {"width", picture.width},
        {"height", picture.height},
        {"format", picture.format == LUMETRA_IMGFORMAT_GRAY8 ? "gray" : formatName(picture.format)},
        {"loop", options.loop}};
    if (options.framesPerSecond) configuration["fps"] = *options.framesPerSecond;
    return toText(configuration);
}

CameraPlay::CameraPlay(const LibraryTable& library, MonitorLink& monitor, const StopRequest& stop, bool quiet)
    : m_library(library), m_monitor(monitor), m_stop(stop), m_progress(quiet) {
    currentPlay = this;
    m_library.registerCallback(camera_source::ID, CB_LOG, reinterpret_cast<void*>(&onLine), nullptr);
    m_library.registerCallback(camera_source::ID, CB_PUSHNATIVEIMAGE, nullptr, nullptr);
}

CameraPlay::~CameraPlay() {
    m_library.command(camera_source::ID, LUMETRA_CMD_STOP, u"");
    m_library.unregisterCallback(camera_source::ID, CB_PUSHNATIVEIMAGE);
    m_library.unregisterCallback(camera_source::ID, CB_LOG);
    currentPlay = nullptr;
}

PlayResult CameraPlay::play(std::int64_t frames) {
    using namespace std::chrono_literals;
    const ProcessMeter meter;
    if (m_library.command(camera_source::ID, LUMETRA_CMD_START, u"") != 1)
        throw PlayError("the camera does not start: check --size and --format");
    while (!m_stop.requested() && m_library.getStatus(camera_source::ID) == STATUS_READY) {
        const Report now = report();
        if ((frames > 0 && now.pushed >= frames) || output::failed()) break;
        if (m_progress.due()) {
            const MonitorReport seen = m_monitor.report();
            m_progress.show({now.pushed, seen.distinct, 0, seen.medianUs, seen.p99Us});
        }
        if (!m_stop.waitUntil(std::chrono::steady_clock::now() + 2ms)) break;
    }
    const std::int32_t status = m_library.getStatus(camera_source::ID);
    m_library.command(camera_source::ID, LUMETRA_CMD_STOP, u"");

    PlayResult result;
    const Report last = report();
    result.pushed = last.pushed;
    result.refused = last.refused;
    if (status == camera_source::STATUS_FAILED) throw PlayError("the camera failed: " + m_complaint);
    if (result.pushed == 0 && !m_stop.requested())
        throw PlayError("the camera gave no whole frame: check --size and --format against it");
    waitUntilDelivered(m_monitor, result.pushed, m_stop);
    result.usage = meter.usage();
    result.monitor = m_monitor.report();
    return result;
}

CameraPlay::Report CameraPlay::report() {
    m_library.command(camera_source::ID, camera_source::REPORT, u"");
    const std::lock_guard lock(m_mutex);
    return m_report;
}

void CameraPlay::onLine(std::int32_t level, const char16_t* text) {
    CameraPlay* const play = currentPlay;
    if (play == nullptr) return;
    const std::string line = toUtf8(text);
    const Json document = parseJson(line);
    const std::lock_guard lock(play->m_mutex);
    if (document.is_object() && document.value("cameraSource", Json()) == "report") {
        play->m_report = {integerIn(document, "pushed"), integerIn(document, "refused")};
        return;
    }
    play->m_complaint = line;
    onLogLine(level, text);
}
