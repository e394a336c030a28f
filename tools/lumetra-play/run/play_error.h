// play_error.h - how a run ends: its exit status, and the one line that says why it could not go on.
#ifndef LUMETRA_PLAY_PLAY_ERROR_H
#define LUMETRA_PLAY_PLAY_ERROR_H

#include <stdexcept>
#include <string>
#include <system_error>

/// What scripts go by; the first that applies, from ERROR down.
enum ExitStatus : int {
    EXIT_AS_ASKED = 0,
    EXIT_ERROR = 1,          ///< the command line, the input or the output
    EXIT_WRONG_PIXELS = 2,   ///< --check found a difference, or nothing to look at
    EXIT_INTERRUPTED = 130,  ///< by Ctrl-C or SIGTERM
    EXIT_UNDELIVERED = 3     ///< no frame was delivered, or with --strict one was dropped
};

/// Its text is one line that names the matter and a way out.
class PlayError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The end came before there was anything to report: by a signal, or because --seconds have passed.
class EndedEarly : public PlayError {
public:
    explicit EndedEarly(bool bySignal)
        : PlayError(bySignal ? "interrupted before the first frame"
                             : "no frame came within --seconds: give it more"),
          status(bySignal ? EXIT_INTERRUPTED : EXIT_UNDELIVERED) {}

    const ExitStatus status;
};

/// "cannot write PATH (REASON): HINT", the reason being that of `error`, an errno.
inline PlayError systemError(const std::string& what, int error, const std::string& hint) {
    return PlayError(what + " (" + std::generic_category().message(error) + "): " + hint);
}

#endif
