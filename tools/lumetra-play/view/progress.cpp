// progress.cpp - one line of figures.
#include "tools/lumetra-play/view/progress.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

namespace {

rusage usageSoFar() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage;
}

double usedSeconds() {
    const rusage usage = usageSoFar();
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Each wait that a thread began of its own accord has ended, or will.
double wakeUps() {
    return static_cast<double>(usageSoFar().ru_nvcsw);
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

}  // namespace

LoadMeter::LoadMeter()
    : m_start(std::chrono::steady_clock::now()), m_usedSeconds(usedSeconds()), m_wakeUps(wakeUps()) {}

ProcessLoad LoadMeter::load() const {
    const std::chrono::duration<double> real = std::chrono::steady_clock::now() - m_start;
    if (real.count() <= 0) return {};
    return {100 * (usedSeconds() - m_usedSeconds) / real.count(), (wakeUps() - m_wakeUps) / real.count()};
}

void LoadMeter::restart() {
    *this = LoadMeter();
}

std::string millisecondsText(std::int64_t microseconds) {
    return formatted("%.2f ms", static_cast<double>(microseconds) / 1000);
}

std::string progressText(const LiveFigures& figures) {
    return formatted("pushed %lld  told %lld  lost %lld", static_cast<long long>(figures.pushed),
                     static_cast<long long>(figures.told), static_cast<long long>(figures.lost)) +
           "  latency median " + millisecondsText(figures.medianUs) + ", p99 " +
           millisecondsText(figures.p99Us) +
           formatted("  cpu %.0f %%, %.0f wake-ups/s", figures.load.cpuPercent,
                     figures.load.wakeUpsPerSecond);
}

Progress::Progress() : m_terminal(isatty(STDERR_FILENO) == 1) {
    using namespace std::chrono_literals;
    m_next = std::chrono::steady_clock::now() + (m_terminal ? 250ms : 1000ms);
}

Progress::~Progress() {
    if (m_lineOpen) std::fputc('\n', stderr);
}

bool Progress::due() const {
    return std::chrono::steady_clock::now() >= m_next;
}

void Progress::show(const LiveFigures& figures) {
    using namespace std::chrono_literals;
    m_next += m_terminal ? 250ms : 1000ms;
    const std::string text = progressText(figures);
    std::fprintf(stderr, m_terminal ? "\r%s\033[K" : "%s\n", text.c_str());
    m_lineOpen = m_terminal;
}
