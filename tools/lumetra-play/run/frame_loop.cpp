// frame_loop.cpp - read, wait for the turn, push, show.
#include <algorithm>
#include <thread>

#include "plugins/CameraSource/CameraSource.h"
#include "tools/lumetra-play/run/play.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

namespace {

using namespace std::chrono_literals;

// The engine drops what it has not begun to deliver 100 ms after the push.
constexpr auto SURELY_DECIDED_AFTER = 250ms;
constexpr auto GIVE_UP_AFTER = 2s;          // without a further frame delivered
constexpr std::int64_t MAX_UNDECIDED = 64;  // frames, when nothing else sets the pace

// Now, as a descriptor's "timestampUs".
std::int64_t systemMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

// Waits until as many frames were delivered, or no further one comes. What was used until the last delivery.
Usage waitUntilDelivered(const MonitorLink& monitor, std::int64_t frames, const StopRequest& stop,
                         const Usage& before) {
    std::int64_t delivered = monitor.delivered();
    Usage usage = usedSoFar() - before;
    for (auto last = std::chrono::steady_clock::now(); delivered < frames;) {
        // Who interrupts does not want to wait for frames that a module holds up.
        const auto patience = stop.interrupted() ? SURELY_DECIDED_AFTER : GIVE_UP_AFTER;
        if (std::chrono::steady_clock::now() - last > patience) break;
        std::this_thread::sleep_for(1ms);
        const std::int64_t now = monitor.delivered();
        if (now == delivered) continue;
        last = std::chrono::steady_clock::now();
        usage = usedSoFar() - before;
        delivered = now;
    }
    return usage;
}

}  // namespace

Pacer::Clock::time_point Pacer::nextDue(Clock::time_point now, double seconds) {
    if (m_start) {
        const std::chrono::duration<double> since(seconds - m_first);
        const auto due = *m_start + std::chrono::round<Clock::duration>(since);
        if (now - due <= 100ms) return due;
    }
    m_start = now;
    m_first = seconds;
    return now;
}

void Play::pushFrames() {
    std::optional<Usage> before;
    Progress progress(m_options.quiet);
    while (!m_stop.requested() && (m_frames == 0 || m_pushed < m_frames)) {
        if (!readFrame() || !waitForTurn() || output::failed()) break;
        if (!before) before = usedSoFar();
        push();
        if (progress.due()) progress.show(m_pushed, droppedSoFar(), m_monitor->report());
    }
    m_summary.pushed = m_pushed;
    if (before)
        m_summary.usage = waitUntilDelivered(*m_monitor, m_pushed - m_summary.refused, m_stop, *before);
    m_summary.monitor = m_monitor->report();
}

// The module pushes, and this waits.
void Play::playCamera(const HostExchange& exchange) {
    Progress progress(m_options.quiet);
    const Usage before = usedSoFar();
    const bool started = m_library->command(CAMERASOURCE_ID, LUMETRA_CMD_START, u"") == 1;
    while (m_library->getStatus(CAMERASOURCE_ID) == STATUS_READY && !output::failed()) {
        if (m_frames > 0 && exchange.descriptors >= m_frames) break;
        if (progress.due()) progress.show(exchange.descriptors, 0, m_monitor->report());
        if (!m_stop.waitUntil(Clock::now() + 2ms)) break;
    }
    const bool failed = m_library->getStatus(CAMERASOURCE_ID) == CAMERASOURCE_STATUS_FAILED;
    // Returns after the last frame, or after word of the failure.
    m_library->command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");
    if (failed || !started)
        throw PlayError("the camera does not work (" + output::logCounts().lastWarning +
                        "): check its name, --size and --format");
    m_summary.pushed = exchange.descriptors;
    m_summary.host = {{"descriptors", exchange.descriptors.load()},
                      {"pictures", exchange.pictures.load()},
                      {"failedWrites", exchange.failedWrites.load()}};
    if (m_summary.pushed == 0 && !m_stop.requested())
        throw PlayError("the camera gave no whole frame: check --size and --format against it");
    m_summary.usage = waitUntilDelivered(*m_monitor, m_summary.pushed, m_stop, before);
    m_summary.monitor = m_monitor->report();
}

// The next frame with all that belongs to it, so that nothing is left to do between its turn and its push.
bool Play::readFrame() {
    if (!m_source->read(m_next, m_nextSeconds)) return false;
    if (m_summary.pyramid) appendLevels(m_summary.picture, m_next);
    if (m_options.check)
        m_check.expect(m_pushed, digestsOf(expectedLevels(m_summary.picture, m_next, m_summary.flags,
                                                          m_summary.pyramid)));
    return true;
}

bool Play::waitForTurn() {
    if (m_options.framesPerSecond) m_nextSeconds = m_pushed / *m_options.framesPerSecond;
    const bool unpaced = m_options.fast || (m_source->facts().live && !m_options.framesPerSecond);
    if (!unpaced && !m_stop.waitUntil(m_pacer.nextDue(Clock::now(), m_nextSeconds))) return false;
    // Frames of one millisecond would replace one another in the engine.
    while (systemMicroseconds() / 1000 == m_lastPushMs) std::this_thread::sleep_for(50us);
    if (!m_options.fast) return true;
    while (m_pushed - m_monitor->delivered() - droppedSoFar() >= MAX_UNDECIDED)
        if (!m_stop.waitUntil(Clock::now() + 1ms)) return false;
    return true;
}

void Play::push() {
    const std::string descriptor = "{\"frame\":" + std::to_string(m_pushed) +
                                   ",\"timestampUs\":" + std::to_string(systemMicroseconds()) + "}";
    const int taken = m_library->pushImageData(m_next.data(), static_cast<std::int32_t>(m_next.size()),
                                               toUtf16(descriptor).c_str(), m_pushed);
    if (taken != 1) ++m_summary.refused;
    m_lastPushMs = systemMicroseconds() / 1000;
    m_recent.push_back(Clock::now());
    m_last.swap(m_next);
    ++m_pushed;
    decided();
}

// Frames that are too old still to be on their way.
std::int64_t Play::decided() {
    while (!m_recent.empty() && Clock::now() - m_recent.front() > SURELY_DECIDED_AFTER) m_recent.pop_front();
    return m_pushed - static_cast<std::int64_t>(m_recent.size());
}

std::int64_t Play::droppedSoFar() {
    const std::int64_t due = decided();
    return std::max<std::int64_t>(0, due - m_monitor->delivered(due));
}
