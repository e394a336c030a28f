// runner.cpp - which check may begin, and what its child told.
#include "tools/lumetra-inspect/trial/runner.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "tools/support/module_files.h"

namespace {

namespace fs = std::filesystem;

// @throws std::runtime_error if this program failed, of which the module is not to be blamed
Finding findingOf(const Check& check, const ChildResult& child) {
    Finding finding;
    std::string stage;
    for (const auto& [kind, text] : child.lines) {
        if (kind == "stage") stage = text;
        if (kind == "reason") finding.reason = text;
        if (kind == "trouble") throw std::runtime_error(std::string("check ") + check.name + ": " + text);
        for (const Verdict verdict : {Verdict::Pass, Verdict::Doubtful, Verdict::Fail, Verdict::Skipped})
            if (kind == "verdict" && text == wordFor(verdict)) finding.verdict = verdict;
    }
    if (!child.finished) return {Verdict::Fail, "it " + child.fault + (stage.empty() ? "" : " in " + stage)};
    return finding;
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// One check of one module.
struct Job {
    const Check* check = nullptr;
    std::unique_ptr<GuardedChild> child;  // while it runs
    std::string folder;                   // where it works then
    bool done = false, blocked = false;   // blocked: what it needs has failed
    Finding finding;

    bool holdsOthersUp() const { return blocked || finding.verdict == Verdict::Fail; }
};
using Jobs = std::map<std::string, Job>;  // of one module, by the check's name

class Runner {
public:
    Runner(const std::vector<ModuleLocation>& modules, const TrialOptions& options)
        : m_modules(modules), m_options(options), m_jobs(modules.size()) {
        for (Jobs& jobs : m_jobs)
            for (const Check& check : allChecks())
                if (options.only.empty() || options.only.contains(check.name))
                    jobs[check.name].check = &check;
    }

    void run(const std::function<void(const ModuleReport&)>& report) {
        for (std::size_t module = 0; module < m_modules.size(); ++module) {
            while (!isComplete(m_jobs[module])) turn(module);
            report(reportOn(module));
            m_jobs[module].clear();
        }
    }

private:
    // Modules that wait for a hanging check leave the processors to a few that follow.
    void turn(std::size_t first) {
        constexpr std::size_t AHEAD = 8;
        const std::size_t end = std::min(first + AHEAD, m_jobs.size());
        std::vector<GuardedChild*> children;
        for (std::size_t module = first; module < end; ++module)
            for (auto& [name, job] : m_jobs[module]) {
                if (job.child != nullptr && job.child->isOver()) finish(job);
                if (job.child != nullptr) children.push_back(job.child.get());
            }
        for (std::size_t module = first; module < end; ++module)
            for (auto& [name, job] : m_jobs[module]) {
                if (children.size() >= m_options.jobs) break;
                if (job.done || job.child != nullptr || !isReady(job, m_jobs[module])) continue;
                start(job, module);
                children.push_back(job.child.get());
            }
        if (!children.empty()) GuardedChild::wait(children);
    }

    // Decides about one that is blocked, too.
    bool isReady(Job& job, const Jobs& jobs) {
        if (!m_options.only.empty()) return true;
        for (const std::string& name : wordsOf(job.check->needs)) {
            const Job& needed = jobs.at(name);
            if (!needed.done) return false;
            if (!needed.holdsOthersUp()) continue;
            job.finding = {Verdict::Skipped, needed.blocked ? needed.finding.reason : "it fails " + name};
            job.done = job.blocked = true;
            return false;
        }
        return true;
    }

    // Checks that run at the same time do not find each other's files.
    std::string makeFolder() const {
        std::string path = (m_scratch.path() / "XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path);
        return path;
    }

    // What a child does in its folder; the module's threads may use the bench until it ends.
    std::function<void(const ChildLines&)> inFolder(const std::string& folder, std::size_t module,
                                                    const std::function<void(const Bench&)>& work) const {
        return [=, this](const ChildLines& lines) {
            try {
                fs::current_path(folder);
                work(
                    lasting<Bench>(Bench{m_modules[module], m_options.configuration, m_options.seed, lines}));
            } catch (const std::exception& trouble) {
                lines.tell("trouble", trouble.what());
            }
        };
    }

    void start(Job& job, std::size_t module) {
        const auto work = [check = job.check](const Bench& bench) {
            const Finding finding = runCheck(*check, bench);
            bench.lines.tell("reason", finding.reason);
            bench.lines.tell("verdict", wordFor(finding.verdict));
        };
        job.folder = makeFolder();
        job.child = std::make_unique<GuardedChild>(inFolder(job.folder, module, work),
                                                   childOptions(job.check->patience));
    }

    // One check by itself may say what it likes.
    ChildOptions childOptions(int patience) const {
        return {m_options.limit * patience, m_options.only.size() == 1};
    }

    void finish(Job& job) {
        job.finding = findingOf(*job.check, job.child->takeResult());
        if (m_options.strict && job.finding.verdict == Verdict::Doubtful) job.finding.verdict = Verdict::Fail;
        job.child.reset();
        std::error_code ignored;
        fs::remove_all(job.folder, ignored);
        job.done = true;
    }

    static bool isComplete(const Jobs& jobs) {
        return std::all_of(jobs.begin(), jobs.end(), [](const auto& job) { return job.second.done; });
    }

    ModuleReport reportOn(std::size_t module) const {
        ModuleReport report{m_modules[module], {}, {}};
        for (const Check& check : allChecks())
            if (const auto job = m_jobs[module].find(check.name); job != m_jobs[module].end())
                report.results.push_back({&check, job->second.finding});
        if (report.isSound() && m_options.only.empty()) report.runTime = measure(module);
        return report;
    }

    // While others may be running, which the figure then shows.
    std::optional<RunTime> measure(std::size_t module) const {
        const auto work = [](const Bench& bench) {
            try {
                measureRunTime(bench);
            } catch (const Finding&) {  // then there is no figure
            }
        };
        RunTime time;
        for (const auto& [kind, text] :
             runGuarded(inFolder(makeFolder(), module, work), childOptions(1)).lines)
            if (kind == "figure" &&
                std::istringstream(text) >> time.median >> time.percentile99 >> time.frames)
                return time;
        return std::nullopt;
    }

    const std::vector<ModuleLocation>& m_modules;
    const TrialOptions& m_options;
    const ScratchFolder m_scratch;  // where modules write what they are told to write
    std::vector<Jobs> m_jobs;
};

}  // namespace

int ModuleReport::count(Verdict verdict) const {
    return static_cast<int>(std::count_if(results.begin(), results.end(), [=](const CheckResult& result) {
        return result.finding.verdict == verdict;
    }));
}

void tryModules(const std::vector<ModuleLocation>& modules, const TrialOptions& options,
                const std::function<void(const ModuleReport&)>& report) {
    Runner(modules, options).run(report);
}
