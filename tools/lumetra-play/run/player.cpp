// player.cpp - the loop: read, wait for the turn, push, show.
#include "tools/lumetra-play/run/player.h"

#include <algorithm>
#include <string>
#include <thread>

#include "plugins/FrameMonitor/push_time.h"
#include "tools/lumetra-play/pixels/pyramid_chain.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"

namespace {

using namespace std::chrono_literals;

// The engine drops what it has not begun to tell 100 ms after the push.
constexpr auto SURELY_TOLD_AFTER = 250ms;
constexpr auto GIVE_UP_AFTER = 2s;            // without a further frame told
constexpr std::int64_t MAX_ON_THE_ROAD = 64;  // frames, when nothing else sets the pace

}  // namespace

Player::Player(const PlaySettings& settings, FrameSource& source, const LibraryTable& library,
               MonitorLink& monitor, PixelCheck* check, const StopRequest& stop)
    : m_settings(settings),
      m_source(source),
      m_library(library),
      m_monitor(monitor),
      m_check(check),
      m_stop(stop),
      m_pacer(settings.framesPerSecond) {}

PlayResult Player::play() {
    const LoadMeter load;
    Clock::time_point start;
    while (!m_stop.requested() && (m_settings.frames == 0 || m_pushed < m_settings.frames)) {
        if (!readFrame() || !waitForTurn()) break;
        if (m_pushed == 0) start = Clock::now();
        push();
        if (m_progress.due()) showProgress();
    }
    if (m_pushed == 0 && !m_stop.requested())
        throw PlayError(m_source.name() + " holds no whole frame: check --size and --format against it");
    waitUntilTold();

    PlayResult result;
    result.pushed = m_pushed;
    if (m_pushed > 0) result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.load = load.load();
    result.monitor = m_monitor.report();
    result.lost = m_pushed - result.monitor.distinct;
    m_last.resize(std::min(m_last.size(), m_source.picture().bytes()));
    result.lastFrame = std::move(m_last);
    return result;
}

// The next frame with all that belongs to it, so that nothing is left to do between its turn and its push.
bool Player::readFrame() {
    if (!m_source.read(m_next)) {
        if (!m_settings.loop || m_pushed == 0 || m_stop.requested() || !m_source.rewind()) return false;
        if (!m_source.read(m_next)) return false;
    }
    if (m_settings.pyramid) appendPyramidChain(m_source.picture(), m_next);
    if (m_check != nullptr)
        m_check->expect(m_pushed, digestsOf(expectedLevels(m_source.picture(), m_next, m_settings.flags,
                                                           m_settings.pyramid)));
    return true;
}

bool Player::waitForTurn() {
    if (!m_stop.waitUntil(m_pacer.nextDue(Clock::now()))) return false;
    // Frames of one millisecond would replace one another in the engine.
    while (systemMicroseconds() / 1000 == m_lastPushMs) std::this_thread::sleep_for(50us);
    if (m_settings.framesPerSecond > 0) return true;
    while (m_pushed - m_monitor.told() - lostSoFar() >= MAX_ON_THE_ROAD)
        if (!m_stop.waitUntil(Clock::now() + 1ms)) return false;
    return true;
}

void Player::push() {
    const std::string descriptor = "{\"frame\":" + std::to_string(m_pushed) +
                                   ",\"timestampUs\":" + std::to_string(systemMicroseconds()) + "}";
    const int taken = m_library.pushImageData(m_next.data(), static_cast<std::int32_t>(m_next.size()),
                                              toUtf16(descriptor).c_str(), m_pushed);
    if (taken != 1) throw PlayError("the library refused a frame: look at its log with --log");
    m_lastPushMs = systemMicroseconds() / 1000;
    m_recent.emplace_back(Clock::now(), m_pushed);
    m_last.swap(m_next);
    ++m_pushed;
}

void Player::waitUntilTold() {
    std::int64_t told = m_monitor.told();
    Clock::time_point lastChange = Clock::now();
    while (told < m_pushed && Clock::now() - lastChange < GIVE_UP_AFTER) {
        std::this_thread::sleep_for(1ms);
        const std::int64_t now = m_monitor.told();
        if (now != told) lastChange = Clock::now();
        told = now;
    }
}

// Frames that are too old still to be on their way and that nobody has been told of.
std::int64_t Player::lostSoFar() {
    while (!m_recent.empty() && Clock::now() - m_recent.front().first > SURELY_TOLD_AFTER) {
        m_due = m_recent.front().second + 1;
        m_recent.pop_front();
    }
    return std::max<std::int64_t>(0, m_due - m_monitor.toldBefore(m_due));
}

void Player::showProgress() {
    const std::int64_t lost = lostSoFar();
    const MonitorReport report = m_monitor.report();
    m_progress.show({m_pushed, report.distinct, lost, report.medianUs, report.p99Us, m_liveLoad.load()});
    m_liveLoad.restart();
}
