// tag_tracker.h - the module's one object: its configuration, its worker, its figures and its results.
// Any thread, except as FrameMailbox.h says; tags are searched on the mailbox's worker.
#ifndef LUMETRA_TAGTRACKER_TAG_TRACKER_H
#define LUMETRA_TAGTRACKER_TAG_TRACKER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>

#include <LumetraCore/FrameMailbox.h>
#include <LumetraCore/TextResults.h>

#include "support/host_log.h"
#include "tag_search.h"

class TagTracker {
public:
    TagTracker();
    void configure(const char* json);
    bool setRunning(bool running);  ///< false before the first configuration
    void take(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk);
    void end();  ///< nothing goes to the host afterwards

    HostLog& log() { return m_log; }
    lumetra::TextResults& results() { return m_results; }
    int searched() const { return m_searched; }
    int skipped() const;
    int found() const { return m_found; }
    std::int32_t status() const { return m_status; }

private:
    using Clock = std::chrono::steady_clock;
    struct Search;  // what the worker needs of one configuration

    void work(Search& search, const IChnk& chunk);

    HostLog m_log;
    lumetra::TextResults m_results;
    std::mutex m_controlMutex;  // one configuration or end at a time
    std::atomic<std::int32_t> m_status;
    std::atomic<int> m_searched{0}, m_found{0}, m_passedOver{0};  // skipped beside what the mailbox skips
    lumetra::FrameMailbox m_mailbox;                              // last: its worker uses the others
};

#endif
