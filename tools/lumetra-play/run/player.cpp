// player.cpp - the loop: read, wait for the turn, push, show.
#include "tools/lumetra-play/run/player.h"

#include <algorithm>
#include <string>
#include <thread>

#include "tools/lumetra-play/pixels/pyramid_chain.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

namespace {

using namespace std::chrono_literals;

// The engine drops what it has not begun to deliver 100 ms after the push.
constexpr auto SURELY_DECIDED_AFTER = 250ms;
constexpr auto GIVE_UP_AFTER = 2s;            // without a further frame delivered
constexpr std::int64_t MAX_ON_THE_ROAD = 64;  // frames, when nothing else sets the pace

// Now, as a descriptor's "timestampUs".
std::int64_t systemMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

void waitUntilDelivered(const MonitorLink& monitor, std::int64_t frames, const StopRequest& stop) {
    std::int64_t delivered = monitor.delivered();
    for (auto last = std::chrono::steady_clock::now(); delivered < frames;) {
        // Who interrupts does not want to wait for frames that a module holds up.
        const auto patience = stop.interrupted() ? SURELY_DECIDED_AFTER : GIVE_UP_AFTER;
        if (std::chrono::steady_clock::now() - last > patience) return;
        std::this_thread::sleep_for(1ms);
        const std::int64_t now = monitor.delivered();
        if (now != delivered) last = std::chrono::steady_clock::now();
        delivered = now;
    }
}

Player::Player(const PlaySettings& settings, FrameSource& source, const LibraryTable& library,
               MonitorLink& monitor, PixelCheck* check, const StopRequest& stop)
    : m_settings(settings),
      m_source(source),
      m_library(library),
      m_monitor(monitor),
      m_check(check),
      m_stop(stop),
      m_progress(settings.quiet) {}

PlayResult Player::play() {
    std::optional<ProcessMeter> meter;
    while (!m_stop.requested() && (m_settings.frames == 0 || m_pushed < m_settings.frames)) {
        if (!readFrame() || !waitForTurn() || output::failed()) break;
        if (m_pushed == 0) meter.emplace();
        push();
        if (m_progress.due()) showProgress();
    }
    waitUntilDelivered(m_monitor, m_pushed - m_refused, m_stop);

    PlayResult result;
    result.pushed = m_pushed;
    result.refused = m_refused;
    if (meter) result.usage = meter->usage();
    result.monitor = m_monitor.report();
    m_last.resize(std::min(m_last.size(), m_source.picture().bytes()));
    result.lastFrame = std::move(m_last);
    return result;
}

// The next frame with all that belongs to it, so that nothing is left to do between its turn and its push.
bool Player::readFrame() {
    if (!m_source.read(m_next, m_nextSeconds)) return false;
    if (m_settings.pyramid) appendPyramidChain(m_source.picture(), m_next);
    if (m_check != nullptr)
        m_check->expect(m_pushed, digestsOf(expectedLevels(m_source.picture(), m_next, m_settings.flags,
                                                           m_settings.pyramid)));
    return true;
}

bool Player::waitForTurn() {
    if (m_settings.framesPerSecond) m_nextSeconds = m_pushed / *m_settings.framesPerSecond;
    const bool unpaced = m_settings.fast || (m_source.isLive() && !m_settings.framesPerSecond);
    if (!unpaced && !m_stop.waitUntil(m_pacer.nextDue(Clock::now(), m_nextSeconds))) return false;
    // Frames of one millisecond would replace one another in the engine.
    while (systemMicroseconds() / 1000 == m_lastPushMs) std::this_thread::sleep_for(50us);
    if (!m_settings.fast) return true;
    while (m_pushed - m_monitor.delivered() - droppedSoFar() >= MAX_ON_THE_ROAD)
        if (!m_stop.waitUntil(Clock::now() + 1ms)) return false;
    return true;
}

void Player::push() {
    const std::string descriptor = "{\"frame\":" + std::to_string(m_pushed) +
                                   ",\"timestampUs\":" + std::to_string(systemMicroseconds()) + "}";
    const int taken = m_library.pushImageData(m_next.data(), static_cast<std::int32_t>(m_next.size()),
                                              toUtf16(descriptor).c_str(), m_pushed);
    if (taken != 1) ++m_refused;
    m_lastPushMs = systemMicroseconds() / 1000;
    m_recent.emplace_back(Clock::now(), m_pushed);
    m_last.swap(m_next);
    ++m_pushed;
}

// Frames that are too old still to be on their way and that were not delivered.
std::int64_t Player::droppedSoFar() {
    while (!m_recent.empty() && Clock::now() - m_recent.front().first > SURELY_DECIDED_AFTER) {
        m_due = m_recent.front().second + 1;
        m_recent.pop_front();
    }
    return std::max<std::int64_t>(0, m_due - m_monitor.deliveredBefore(m_due));
}

void Player::showProgress() {
    const std::int64_t dropped = droppedSoFar();
    const MonitorReport report = m_monitor.report();
    m_progress.show({m_pushed, report.distinct, dropped, report.medianUs, report.p99Us});
}
