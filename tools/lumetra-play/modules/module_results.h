// module_results.h - the results that a module hands out as texts: shown line by line, counted, the last one
// kept for the summary. The module calls on any thread, and may until the engine is gone: so long it has to
// live.
#ifndef LUMETRA_PLAY_MODULE_RESULTS_H
#define LUMETRA_PLAY_MODULE_RESULTS_H

#include <cstdint>
#include <mutex>
#include <string>

#include "tools/lumetra-play/run/library_table.h"

class ModuleResults {
public:
    /// @param aside  lines go to standard error, since standard output is for the summary alone
    ModuleResults(std::string name, bool aside) : m_name(std::move(name)), m_aside(aside) {}

    /// Asks the module for its form, and registers for the results if that is text. Whether it is.
    bool listenTo(const LibraryTable& library, std::int32_t id);

    std::int64_t count() const;
    std::string last() const;  ///< empty before the first

private:
    static void onText(void* self, const char* utf8Json);

    const std::string m_name;
    const bool m_aside;
    mutable std::mutex m_mutex;  // guards what follows
    std::int64_t m_count = 0;
    std::string m_last;
};

#endif
