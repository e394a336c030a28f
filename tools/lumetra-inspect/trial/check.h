// check.h - one check of a module: what it is called, what it shows, and how it says what it found.
#ifndef LUMETRA_INSPECT_CHECK_H
#define LUMETRA_INSPECT_CHECK_H

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tools/lumetra-inspect/guarded_child.h"
#include "tools/lumetra-inspect/module_location.h"

enum class Verdict { Pass, Doubtful, Fail, Skipped };

/// As reports and children say it.
const char* wordFor(Verdict verdict);

/// How a check ends; thrown by what finds something, so that checks read as a list of what has to hold.
struct Finding {
    Verdict verdict = Verdict::Pass;
    std::string reason;
};

/// What is found on a thread of the module, where nothing may be thrown; the check fails with the first one.
class NotedFault {
public:
    void note(const std::string& reason);
    std::string first() const;  ///< empty if there is none

private:
    mutable std::mutex m_mutex;  // guards the next
    std::string m_reason;
};

/// For the life of the process: a module's threads may still use it when the check is over.
template <class Type, class... Arguments>
Type& lasting(Arguments&&... arguments) {
    return *new Type(std::forward<Arguments>(arguments)...);
}

[[noreturn]] void fail(const std::string& reason);
[[noreturn]] void doubt(const std::string& reason);  ///< counts with --strict only
[[noreturn]] void skip(const std::string& reason);

/// What a check works with, in a process of its own.
struct Bench {
    const ModuleLocation& location;
    const std::string& configuration;  // for `initialize`, where the module has to work
    std::uint32_t seed;                // of texts that are made up
    const ChildLines& lines;

    /// What is done next, for the report of a crash.
    void stage(const std::string& text) const { lines.tell("stage", text); }
};

struct Check {
    const char* name;
    const char* sentence;  // what holds where it passes
    std::string needs;     // checks, separated by spaces: where one of them fails, this one shows nothing
    void (*run)(const Bench& bench);
    int patience = 1;  // how many time limits it has
};

/// Every check, those that others need before them.
const std::vector<Check>& allChecks();

std::vector<Check> fileChecks();      // before any of its code is run
std::vector<Check> loadingChecks();   // opening, id, registration
std::vector<Check> callChecks();      // each entry point by itself, texts, numbers
std::vector<Check> callbackChecks();  // functions handed to it
std::vector<Check> frameChecks();     // frames made by this program
std::vector<Check> sharingChecks();   // what it does to frames, and how long it keeps them
std::vector<Check> pushChecks();      // frames of its own
std::vector<Check> removalChecks();   // its end, and what it leaves behind
std::vector<Check> memoryChecks();    // allocation failures

/// No check but a figure, as a line of its child; nobody judges it.
void measureRunTime(const Bench& bench);

/// What checks need of a module that is going to receive frames.
inline const std::string WORKING = "frame-first initialize-first command-first register-first";

/// Runs a check to its end.
/// @throws LibraryError, std::system_error trouble of this program, of which the module is not to be blamed
Finding runCheck(const Check& check, const Bench& bench);

#endif
