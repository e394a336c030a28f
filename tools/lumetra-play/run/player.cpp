// player.cpp - the loop: read, wait for the turn, push, show.
#include "tools/lumetra-play/run/player.h"

#include <algorithm>
#include <string>
#include <thread>

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

Usage waitUntilDelivered(const MonitorLink& monitor, std::int64_t frames, const StopRequest& stop,
                         const ProcessMeter& meter) {
    std::int64_t delivered = monitor.delivered();
    Usage usage = meter.usage();
    for (auto last = std::chrono::steady_clock::now(); delivered < frames;) {
        // Who interrupts does not want to wait for frames that a module holds up.
        const auto patience = stop.interrupted() ? SURELY_DECIDED_AFTER : GIVE_UP_AFTER;
        if (std::chrono::steady_clock::now() - last > patience) break;
        std::this_thread::sleep_for(1ms);
        const std::int64_t now = monitor.delivered();
        if (now == delivered) continue;
        last = std::chrono::steady_clock::now();
        usage = meter.usage();
        delivered = now;
    }
    return usage;
}

Player::Player(const Options& options, const PlaySettings& settings, FrameSource& source,
               const LibraryTable& library, MonitorLink& monitor, PixelCheck* check, const StopRequest& stop)
    : m_options(options),
      m_settings(settings),
      m_source(source),
      m_library(library),
      m_monitor(monitor),
      m_check(check),
      m_stop(stop) {}

PlayResult Player::play() {
    std::optional<ProcessMeter> meter;
    PlayResult result;
    {
        Progress progress(m_options.quiet);
        while (!m_stop.requested() && (m_settings.frames == 0 || m_pushed < m_settings.frames)) {
            if (!readFrame() || !waitForTurn() || output::failed()) break;
            if (!meter) meter.emplace();
            push();
            if (progress.due()) progress.show(m_pushed, droppedSoFar(), m_monitor.report());
        }
        if (meter) result.usage = waitUntilDelivered(m_monitor, m_pushed - m_refused, m_stop, *meter);
    }
    result.pushed = m_pushed;
    result.refused = m_refused;
    result.monitor = m_monitor.report();
    m_last.resize(std::min(m_last.size(), m_source.picture().bytes()));
    result.lastFrame = std::move(m_last);
    return result;
}

// The next frame with all that belongs to it, so that nothing is left to do between its turn and its push.
bool Player::readFrame() {
    if (!m_source.read(m_next, m_nextSeconds)) return false;
    if (m_settings.pyramid) appendLevels(m_source.picture(), m_next);
    if (m_check != nullptr)
        m_check->expect(m_pushed, digestsOf(expectedLevels(m_source.picture(), m_next, m_settings.flags,
                                                           m_settings.pyramid)));
    return true;
}

bool Player::waitForTurn() {
    if (m_options.framesPerSecond) m_nextSeconds = m_pushed / *m_options.framesPerSecond;
    const bool unpaced = m_options.fast || (m_source.isLive() && !m_options.framesPerSecond);
    if (!unpaced && !m_stop.waitUntil(m_pacer.nextDue(Clock::now(), m_nextSeconds))) return false;
    // Frames of one millisecond would replace one another in the engine.
    while (systemMicroseconds() / 1000 == m_lastPushMs) std::this_thread::sleep_for(50us);
    if (!m_options.fast) return true;
    while (m_pushed - m_monitor.delivered() - droppedSoFar() >= MAX_UNDECIDED)
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
    m_recent.push_back(Clock::now());
    m_last.swap(m_next);
    ++m_pushed;
    decided();
}

// Frames that are too old still to be on their way.
std::int64_t Player::decided() {
    while (!m_recent.empty() && Clock::now() - m_recent.front() > SURELY_DECIDED_AFTER) m_recent.pop_front();
    return m_pushed - static_cast<std::int64_t>(m_recent.size());
}

std::int64_t Player::droppedSoFar() {
    const std::int64_t due = decided();
    return std::max<std::int64_t>(0, due - m_monitor.delivered(due));
}
