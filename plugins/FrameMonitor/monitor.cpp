// monitor.cpp - from a notification to figures, and from a command to an answer.
#include "monitor.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "FrameMonitor.h"
#include "pixel_digest.h"
#include "support/frame_times.h"
#include "support/json_members.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds IDLE_AFTER{1};

std::string digestLine(const IChnk& chunk) {
    std::string line = "{\"frameMonitor\":\"frame\",\"frame\":" + std::to_string(chunk.frameIndex) +
                       ",\"width\":" + std::to_string(chunk.width) +
                       ",\"height\":" + std::to_string(chunk.height) + ",\"digests\":[";
    for (int k = 0; k < LEVEL_COUNT; ++k) {
        char digits[20] = "null";
        if (const auto level = findLevel(chunk, k))
            std::snprintf(digits, sizeof digits, "\"%016llx\"",
                          static_cast<unsigned long long>(pixelDigest(level->pixels, level->bytes())));
        line += (k == 0 ? "" : ",") + std::string(digits);
    }
    return line + "]}";
}

bool writeFile(const std::string& path, const std::string& head, const char* body, std::size_t bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << head;
    file.write(body, static_cast<std::streamsize>(bytes));
    file.close();
    return !file.fail();
}

bool writeLevel(const std::string& path, const GreyLevel& level) {
    const std::string head =
        "P5\n" + std::to_string(level.width) + " " + std::to_string(level.height) + "\n255\n";
    return writeFile(path, head, reinterpret_cast<const char*>(level.pixels), level.bytes());
}

}  // namespace

void Monitor::configure(const char* json) {
    const JsonMembers members(json);
    Settings settings;
    settings.histogram = members.boolean("histogram").value_or(true);
    settings.digest = members.boolean("digest").value_or(false);
    settings.reportFile = members.string("reportFile").value_or("");
    {
        const std::lock_guard lock(m_mutex);
        m_settings = std::move(settings);
    }
    startMeasuring();
}

void Monitor::setLog(void* function) {
    m_log.set(function);
    if (function != nullptr) startMeasuring();
}

// Frames may come before anybody wants to know of them.
void Monitor::startMeasuring() {
    std::string failure;
    {
        const std::lock_guard lock(m_controlMutex);
        if (m_measuring) return;
        try {
            m_mailbox.start([this](std::uint64_t, const IChnk& chunk) { measure(chunk); });
            m_measuring = true;
        } catch (const std::exception& reason) {
            failure = reason.what();
        }
    }
    if (!failure.empty()) m_log.write(0, "Error: FrameMonitor does not measure frames: " + failure + "!");
}

void Monitor::end() {
    m_log.set(nullptr);  // notifications may still be running; they log nothing
    {
        const std::lock_guard lock(m_controlMutex);
        m_mailbox.stop();
        m_measuring = false;
    }
    reset();
}

void Monitor::take(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk) {
    bool digest = false;
    {
        const std::lock_guard lock(m_mutex);
        if (m_paused) return;
        digest = m_settings.digest;
    }
    FrameRecord frame;
    frame.arrived = Clock::now();
    frame.latencyUs = systemMicroseconds() - pushTime(chunkId, chunk->descriptor);
    frame.chunkId = chunkId;
    frame.frameIndex = chunk->frameIndex;
    frame.isReadable = findLevel(*chunk, 0).has_value();
    if (digest) m_log.write(0, digestLine(*chunk));

    std::shared_ptr<IChnk> replaced = chunk;  // released after the lock, since that may free a whole buffer
    {
        const std::lock_guard lock(m_mutex);
        if (m_statistics.add(frame)) m_newest.swap(replaced);
    }
    if (frame.isReadable) m_mailbox.put(chunkId, chunk);
}

void Monitor::measure(const IChnk& chunk) {
    const auto level = findLevel(chunk, 0);
    if (!level) return;
    bool histogram = true;
    {
        const std::lock_guard lock(m_mutex);
        histogram = m_settings.histogram;
    }
    MeasuredFrame frame{chunk.frameIndex, chunk.width, chunk.height, 0, std::nullopt};
    if (histogram) frame.histogram = histogramOf(*level);
    frame.mean = histogram ? meanOf(*frame.histogram) : meanOf(*level);
    const std::lock_guard lock(m_mutex);
    m_statistics.add(frame);
}

bool Monitor::report() {
    m_mailbox.drain();  // so that the report is of the newest frame
    std::string line;
    std::string path;
    {
        const std::lock_guard lock(m_mutex);
        line = m_statistics.report(Clock::now());
        path = m_settings.reportFile;
    }
    const bool logged = m_log.write(0, line);
    if (path.empty()) return logged;
    return writeFile(path, line + "\n", "", 0);
}

void Monitor::reset() {
    m_mailbox.drain();  // what came before is forgotten too
    std::shared_ptr<IChnk> forgotten;
    const std::lock_guard lock(m_mutex);
    m_statistics = Statistics();
    m_newest.swap(forgotten);
}

int Monitor::snapshot(const std::string& prefix) {
    std::shared_ptr<IChnk> chunk;
    {
        const std::lock_guard lock(m_mutex);
        chunk = m_newest;
    }
    if (chunk == nullptr) return 0;
    int files = 0;
    for (int k = 0; k < LEVEL_COUNT; ++k) {
        const auto level = findLevel(*chunk, k);
        if (!level || level->bytes() == 0) continue;
        if (!writeLevel(prefix + "_lvl_" + std::to_string(k) + ".pgm", *level)) return 0;
        ++files;
    }
    return files;
}

int Monitor::count(const char* before) {
    char* end = nullptr;
    const long index = std::strtol(before, &end, 10);
    const bool limited = end != before && index >= INT32_MIN && index <= INT32_MAX;
    const std::lock_guard lock(m_mutex);
    const std::uint64_t frames =
        limited ? m_statistics.distinctBefore(static_cast<std::int32_t>(index)) : m_statistics.distinct();
    return static_cast<int>(std::min<std::uint64_t>(frames, INT_MAX));
}

void Monitor::pause(bool paused) {
    const std::lock_guard lock(m_mutex);
    m_paused = paused;
}

std::int32_t Monitor::status() {
    const std::lock_guard lock(m_mutex);
    if (m_paused) return FRAMEMONITOR_STATUS_PAUSED;
    const bool busy = m_statistics.arrivedSince(Clock::now() - IDLE_AFTER);
    return busy ? STATUS_READY : FRAMEMONITOR_STATUS_IDLE;
}
