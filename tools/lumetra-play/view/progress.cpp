// progress.cpp - one line of figures.
#include "tools/lumetra-play/view/progress.h"

#include <sys/resource.h>

#include <cstdio>
#include <vector>

#include "tools/lumetra-play/view/output.h"

namespace {

using namespace std::chrono_literals;

Usage usedSoFar() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {0, seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw};
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

}  // namespace

ProcessMeter::ProcessMeter() : m_start(std::chrono::steady_clock::now()), m_before(usedSoFar()) {}

Usage ProcessMeter::usage() const {
    Usage now = usedSoFar();
    now.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    now.processorSeconds -= m_before.processorSeconds;
    now.wakeUps -= m_before.wakeUps;
    return now;
}

std::string millisecondsText(std::int64_t microseconds) {
    return formatted("%.2f ms", static_cast<double>(microseconds) / 1000);
}

std::string progressText(const LiveFigures& figures, const Usage& usage, std::size_t columns, bool coloured) {
    const std::string parts[] = {
        formatted("delivered %lld/%lld", static_cast<long long>(figures.delivered),
                  static_cast<long long>(figures.pushed)),
        formatted("dropped %lld", static_cast<long long>(figures.dropped)),
        "latency " + millisecondsText(figures.medianUs) + " (p99 " + millisecondsText(figures.p99Us) + ")",
        formatted("cpu %.0f %%", usage.processorPercent()),
        formatted("wake-ups %.0f/s", usage.wakeUpsPerSecond())};
    std::string line;
    std::size_t width = 0;
    for (const std::string& part : parts) {
        const std::size_t gap = width == 0 ? 0 : 2;
        if (width + gap + part.size() > columns) break;
        width += gap + part.size();
        const bool alarming = coloured && figures.dropped > 0 && &part == &parts[1];
        line += std::string(gap, ' ') + (alarming ? "\033[33m" + part + "\033[0m" : part);
    }
    return width == 0 ? parts[0].substr(0, columns) : line;
}

Progress::Progress(bool quiet)
    : m_quiet(quiet),
      m_terminal(output::onTerminal()),
      m_next(std::chrono::steady_clock::now() + (m_terminal ? 250ms : 5000ms)) {}

Progress::~Progress() {
    output::endProgress();
}

bool Progress::due() const {
    return !m_quiet && std::chrono::steady_clock::now() >= m_next;
}

void Progress::show(const LiveFigures& figures) {
    m_next += m_terminal ? 250ms : 5000ms;
    const Usage usage = m_meter.usage();
    m_meter = ProcessMeter();
    // The last column stays free: a full row would move the cursor to the next.
    if (m_terminal)
        output::showProgress(progressText(figures, usage, output::columns() - 1, output::coloured()));
    else
        output::say(progressText(figures, usage, SIZE_MAX, false));
}
