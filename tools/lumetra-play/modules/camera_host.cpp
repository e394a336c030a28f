// camera_host.cpp - starting the camera, answering, keeping pictures, stopping it.
#include "tools/lumetra-play/modules/camera_host.h"

#include <resolv.h>

#include <atomic>
#include <nlohmann/json.hpp>

#include "plugins/CameraSource/CameraSource.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

namespace {

std::atomic<CameraHost*> currentHost = nullptr;

std::string configurationOf(const Options& options, const Picture& picture) {
    const bool grey = picture.format == LUMETRA_IMGFORMAT_GRAY8;
    Json configuration = {{"source", options.camera},
                          {"width", picture.width},
                          {"height", picture.height},
                          {"format", grey ? "gray" : formatName(picture.format)},
                          {"loop", options.loop}};
    if (options.framesPerSecond) configuration["fps"] = *options.framesPerSecond;
    return toText(configuration);
}

}  // namespace

std::string answerTo(const std::string& descriptor, std::string& seen, Bytes& jpeg) {
    Json document = parseJson(descriptor);
    jpeg.clear();
    if (const auto image = document.find("image"); image != document.end() && image->is_string()) {
        const auto& text = image->get_ref<const std::string&>();
        jpeg.resize(text.size());
        jpeg.resize(static_cast<std::size_t>(std::max(0, b64_pton(text.c_str(), jpeg.data(), jpeg.size()))));
        document.erase("image");
    }
    seen = toText(document);
    Json answer = {{"host", "lumetra-play"}};
    for (const char* kept : {"frame", "timestampUs"})
        if (document.contains(kept)) answer[kept] = document[kept];
    return toText(answer);
}

CameraHost::CameraHost(const Options& options, const Picture& picture, const LibraryTable& library,
                       EngineSession& engine)
    : m_options(options), m_library(library) {
    engine.loadModule({"CameraSource", configurationOf(options, picture)});
    currentHost = this;
    m_library.registerCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE, nullptr, nullptr);
    m_library.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&onText), nullptr);
}

CameraHost::~CameraHost() {
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");
    m_library.unregisterCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE);
    m_library.unregisterCallback(ENGINE_MODULE_ID, CB_HOSTTEXT);
    currentHost = nullptr;
}

void CameraHost::play(std::int64_t frames, MonitorLink& monitor, const StopRequest& stop, Summary& summary) {
    using namespace std::chrono_literals;
    Progress progress(m_options.quiet);
    const Usage before = usedSoFar();
    const bool started = m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_START, u"") == 1;
    while (m_library.getStatus(CAMERASOURCE_ID) == STATUS_READY && !output::failed()) {
        const std::int64_t pushed = counts().descriptors;
        if (frames > 0 && pushed >= frames) break;
        if (progress.due()) progress.show(pushed, 0, monitor.report());
        if (!stop.waitUntil(StopRequest::Clock::now() + 2ms)) break;
    }
    const bool failed = m_library.getStatus(CAMERASOURCE_ID) == CAMERASOURCE_STATUS_FAILED;
    // Returns after the last frame, or after word of the failure.
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");
    if (failed || !started)
        throw PlayError("the camera does not work (" + output::logCounts().lastWarning +
                        "): check its name, --size and --format");
    summary.exchange = counts();
    summary.pushed = summary.exchange->descriptors;
    if (summary.pushed == 0 && !stop.requested())
        throw PlayError("the camera gave no whole frame: check --size and --format against it");
    summary.usage = waitUntilDelivered(monitor, summary.pushed, stop, before);
    summary.monitor = monitor.report();
}

ExchangeCounts CameraHost::counts() {
    const std::lock_guard lock(m_mutex);
    return m_counts;
}

// The answer has to live until the library has copied it, which it does on this thread right after the call.
const char16_t* CameraHost::onText(void*, const char16_t* text) {
    thread_local std::u16string answer;
    CameraHost* const host = currentHost;
    answer = host == nullptr ? std::u16string(text) : toUtf16(host->answer(toUtf8(text)));
    return answer.c_str();
}

std::string CameraHost::answer(const std::string& text) {
    std::string seen;
    Bytes jpeg;
    const std::string answer = answerTo(text, seen, jpeg);
    if (m_options.descriptors) output::showResult("descriptor " + seen);
    if (!jpeg.empty() && !m_options.jpegFolder.empty()) savePicture(jpeg);
    const std::lock_guard lock(m_mutex);
    ++m_counts.descriptors;
    return answer;
}

// Numbered as they come, which is on one thread.
void CameraHost::savePicture(const Bytes& jpeg) try {
    const std::string name = formatted("/frame_%06lld.jpg", static_cast<long long>(counts().descriptors));
    output::writeFile(m_options.jpegFolder + name, jpeg);
    const std::lock_guard lock(m_mutex);
    ++m_counts.pictures;
} catch (const PlayError& error) {
    output::complain(error.what());
    const std::lock_guard lock(m_mutex);
    ++m_counts.failedWrites;
}
