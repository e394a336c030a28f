// progress.cpp - one line of figures.
#include "tools/lumetra-play/view/progress.h"

#include <sys/resource.h>
#include <unistd.h>

#include <utility>

#include "tools/lumetra-play/view/output.h"
#include "tools/support/terminal.h"
#include "tools/support/text.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

Usage usedSoFar() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    const std::chrono::duration<double> now = Clock::now().time_since_epoch();
    return {now.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw};
}

Usage operator-(const Usage& now, const Usage& before) {
    return {now.seconds - before.seconds, now.processorSeconds - before.processorSeconds,
            now.wakeUps - before.wakeUps};
}

std::string progressText(std::int64_t pushed, std::int64_t dropped, const MonitorReport& monitor,
                         const Usage& usage, std::size_t columns) {
    std::string line = "delivered " + std::to_string(monitor.distinct) + "/" + std::to_string(pushed);
    for (const std::string& part :
         {"dropped " + std::to_string(dropped),
          formatted("latency %.2f ms (p99 %.2f ms)", monitor.medianMs(), monitor.p99Ms()),
          formatted("cpu %.0f %%", usage.processorPercent()),
          formatted("wake-ups %.0f/s", usage.wakeUpsPerSecond())}) {
        if (line.size() + 2 + part.size() > columns) break;
        line += "  " + part;
    }
    return line.substr(0, columns);
}

Progress::Progress(bool quiet)
    : m_quiet(quiet),
      m_terminal(output::onTerminal()),
      m_interval(m_terminal ? 250ms : 5000ms),
      m_next(Clock::now() + m_interval) {}

Progress::~Progress() {
    output::endProgress();
}

bool Progress::due() const {
    return !m_quiet && Clock::now() >= m_next;
}

void Progress::show(std::int64_t pushed, std::int64_t dropped, const MonitorReport& monitor) {
    m_next = Clock::now() + m_interval;
    const Usage now = usedSoFar(), usage = now - std::exchange(m_before, now);
    // The last column stays free: a full row would move the cursor to the next.
    const std::size_t columns = m_terminal ? columnsOf(STDERR_FILENO) - 1 : SIZE_MAX;
    const std::string text = progressText(pushed, dropped, monitor, usage, columns);
    if (m_terminal)
        output::showProgress(text, dropped > 0 ? "dropped " + std::to_string(dropped) : "");
    else
        output::say(text);
}
