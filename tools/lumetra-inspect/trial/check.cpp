// check.cpp - the table of checks, and their ends.
#include "tools/lumetra-inspect/trial/check.h"

#include <exception>
#include <system_error>

#include "tools/lumetra-inspect/trial/engine.h"

const char* wordFor(Verdict verdict) {
    constexpr const char* WORDS[] = {"pass", "doubtful", "fail", "skipped"};
    return WORDS[static_cast<int>(verdict)];
}

void NotedFault::note(const std::string& reason) {
    const std::lock_guard lock(m_mutex);
    if (m_reason.empty()) m_reason = reason;
}

std::string NotedFault::first() const {
    const std::lock_guard lock(m_mutex);
    return m_reason;
}

void fail(const std::string& reason) {
    throw Finding{Verdict::Fail, reason};
}

void doubt(const std::string& reason) {
    throw Finding{Verdict::Doubtful, reason};
}

void skip(const std::string& reason) {
    throw Finding{Verdict::Skipped, reason};
}

const std::vector<Check>& allChecks() {
    static const std::vector<Check> table = [] {
        std::vector<Check> all;
        for (const auto& family :
             {fileChecks(), loadingChecks(), callChecks(), callbackChecks(), frameChecks(), sharingChecks(),
              pushChecks(), removalChecks(), memoryChecks()})
            all.insert(all.end(), family.begin(), family.end());
        return all;
    }();
    return table;
}

Finding runCheck(const Check& check, const Bench& bench) {
    try {
        check.run(bench);
        return {};
    } catch (const Finding& finding) {
        return finding;
    } catch (const LibraryError&) {
        throw;
    } catch (const std::system_error&) {  // no thread, no folder
        throw;
    } catch (const std::exception& error) {
        return {Verdict::Fail, std::string("the check itself failed: ") + error.what()};
    }
}
