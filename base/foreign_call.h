// foreign_call.h - calls into a host's or module's code whose failures must end here.
#ifndef LUMETRA_BASE_FOREIGN_CALL_H
#define LUMETRA_BASE_FOREIGN_CALL_H

#include <exception>
#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

namespace lumetra {

/// Runs `call`; what it throws ends here. But for the cancellation of the thread, which the GNU system sends
/// through as an exception that must not be caught for good.
template <class Call>
void callSafely(Call call) {
    try {
        call();
    }
#if defined(__GLIBCXX__)
    catch (const abi::__forced_unwind&) {
        throw;
    }
#endif
    catch (...) {
    }
}

}  // namespace lumetra

#endif
