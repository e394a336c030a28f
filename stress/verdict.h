// verdict.h - one line of figures with the verdict on them, and what this process occupies.
#ifndef LUMETRA_STRESS_VERDICT_H
#define LUMETRA_STRESS_VERDICT_H

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class Verdict {
public:
    /// What the figures that follow are about.
    void part(const std::string& title) { m_line += (m_line.empty() ? " " : "; ") + title + ":"; }
    void show(const char* name, double value, bool kept = true) {
        char text[64];
        std::snprintf(text, sizeof text, " %s=%.9g", name, std::round(value * 100) / 100);
        m_line += text + std::string(kept ? "" : " (BROKEN)");
        m_kept = m_kept && kept;
    }
    void atMost(const char* name, double value, double limit) { show(name, value, value <= limit); }
    void atLeast(const char* name, double value, double limit) { show(name, value, value >= limit); }

    /// On standard error, since standard output belongs to the library's log. Whether all promises were kept.
    bool report(const char* subject) const {
        std::fprintf(stderr, "%s:%s - %s\n", subject, m_line.c_str(), m_kept ? "kept" : "BROKEN");
        return m_kept;
    }

private:
    std::string m_line;
    bool m_kept = true;
};

struct Occupancy {
    double residentMb = 0, peakMb = 0, threads = 0;  // MiB; the peak is that since the last take()
    std::ptrdiff_t descriptors = 0;

    static Occupancy take() {
        namespace fs = std::filesystem;
        Occupancy now;
        std::ifstream status("/proc/self/status");
        for (std::string name; status >> name; status.ignore(999, '\n')) {
            if (name == "VmRSS:" && status >> now.residentMb) now.residentMb /= 1024;
            if (name == "VmHWM:" && status >> now.peakMb) now.peakMb /= 1024;
            if (name == "Threads:") status >> now.threads;
        }
        now.descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
        std::ofstream("/proc/self/clear_refs") << "5";  // forgets the peak
        return now;
    }
    void requireNoMoreThan(const Occupancy& before, Verdict& verdict) const {
        verdict.show("MB", peakMb);
        verdict.atMost("MB-more", peakMb - before.peakMb, 4);
        verdict.atMost("threads", threads, before.threads);
        verdict.atMost("descriptors", static_cast<double>(descriptors - before.descriptors), 0);
    }
};

#endif
