// camera.cpp - the camera's thread and the operations that start and end it.
#include "camera.h"

#include <algorithm>
#include <exception>

#include "CameraSource.h"
#include "support/frame_times.h"
#include "support/json_members.h"

namespace {

LUMETRA_IMGFORMATTYPE formatByName(std::string_view name) {
    constexpr std::pair<std::string_view, LUMETRA_IMGFORMATTYPE> FORMATS[] = {
        {"rgb", LUMETRA_IMGFORMAT_RGB},   {"bgr", LUMETRA_IMGFORMAT_BGR},    {"bgra", LUMETRA_IMGFORMAT_BGRA},
        {"yuyv", LUMETRA_IMGFORMAT_YUYV}, {"gray", LUMETRA_IMGFORMAT_GRAY8},
    };
    for (const auto& [known, format] : FORMATS)
        if (known == name) return format;
    return LUMETRA_IMGFORMAT_NONE;
}

}  // namespace

Camera::Camera() : m_status(CAMERASOURCE_STATUS_STOPPED) {}

void Camera::configure(const char* json) {
    constexpr double USUAL_RATE = 30, LOWEST_RATE = 0.01, HIGHEST_RATE = 500;
    const JsonMembers members(json);
    CameraSettings settings;
    settings.source = members.string("source").value_or("scene");
    settings.width = members.integer<std::int32_t>("width").value_or(0);
    settings.height = members.integer<std::int32_t>("height").value_or(0);
    settings.format = formatByName(members.string("format").value_or("yuyv"));
    settings.framesPerSecond =
        std::clamp(members.number("fps").value_or(USUAL_RATE), LOWEST_RATE, HIGHEST_RATE);
    settings.loop = members.boolean("loop").value_or(false);
    const std::lock_guard lock(m_controlMutex);
    stopThread();
    m_settings = settings;
}

void Camera::setPush(LUMETRA_PUSHFN push, void* context) {
    const std::lock_guard lock(m_controlMutex);
    stopThread();
    m_push = push;
    m_context = context;
}

bool Camera::start() {
    const std::string failure = startThread();
    if (failure.empty()) return true;
    m_log.write(0, failure);  // without the lock: whoever reads the line may command the camera
    return false;
}

// Why no frames come, for the log; empty if they do.
std::string Camera::startThread() {
    const std::lock_guard lock(m_controlMutex);
    stopThread();
    if (m_push == nullptr) return "Warning: CameraSource has no function to push frames with!";
    if (!m_settings.isValid()) return "Warning: CameraSource is not configured!";
    m_pushed = 0;
    m_refused = 0;
    try {
        m_stop.clear();
        m_status = STATUS_READY;
        m_thread = std::thread([this] { run(); });
    } catch (const std::exception& failure) {  // out of descriptors or threads
        m_status = CAMERASOURCE_STATUS_FAILED;
        return "Error: CameraSource does not start: " + std::string(failure.what()) + "!";
    }
    return {};
}

void Camera::stop() {
    const std::lock_guard lock(m_controlMutex);
    stopThread();
}

// With m_controlMutex held.
void Camera::stopThread() {
    if (!m_thread.joinable()) return;
    m_stop.raise();
    m_thread.join();
    if (m_status == STATUS_READY) m_status = CAMERASOURCE_STATUS_STOPPED;
}

void Camera::report() {
    m_log.write(0, "{\"cameraSource\":\"report\",\"pushed\":" + std::to_string(m_pushed) + ",\"refused\":" +
                       std::to_string(m_refused) + ",\"status\":" + std::to_string(m_status) + "}");
}

void Camera::run() {
    try {
        playFrames(*openProducer(m_settings, m_stop));
        if (!m_stop.isRaised()) m_status = CAMERASOURCE_STATUS_ENDED;
    } catch (const std::exception& failure) {
        m_status = CAMERASOURCE_STATUS_FAILED;
        m_log.write(0, "Error: CameraSource: " + std::string(failure.what()) + "!");
    } catch (...) {
        m_status = CAMERASOURCE_STATUS_FAILED;
    }
}

void Camera::playFrames(FrameProducer& producer) {
    using namespace std::chrono;
    // Of two frames in one millisecond the engine keeps only the later, so that even late ones keep a
    // distance.
    constexpr milliseconds LEAST_DISTANCE(2);
    const duration<double> interval(1 / m_settings.framesPerSecond);
    const auto begin = steady_clock::now();
    auto earliest = begin;
    Bytes frame;
    for (std::int32_t number = 0; producer.next(frame); number = (number + 1) & 0x7FFFFFFF) {
        const auto turn = producer.isPaced() ? begin : begin + duration_cast<nanoseconds>(number * interval);
        if (!m_stop.waitUntil(std::max(turn, earliest))) return;
        earliest = steady_clock::now() + LEAST_DISTANCE;
        pushFrame(frame, number);
    }
}

void Camera::pushFrame(const Bytes& frame, std::int32_t number) {
    const std::string descriptor = "{\"source\":\"CameraSource\",\"frame\":" + std::to_string(number) +
                                   ",\"timestampUs\":" + std::to_string(systemMicroseconds()) + "}";
    bool taken = false;
    try {
        taken =
            m_push(m_context, frame.data(), static_cast<int>(frame.size()), descriptor.c_str(), number) == 1;
    } catch (const std::exception& failure) {  // no memory for this frame, or an answer that is no text
        m_log.write(0, "Warning: CameraSource: a frame was refused: " + std::string(failure.what()) + "!");
    } catch (...) {  // whatever the host's own callback throws
    }
    ++(taken ? m_pushed : m_refused);
}
