// foreign_call.h - calls into a host's or module's code whose failures must end here.
#ifndef LUMETRA_BASE_FOREIGN_CALL_H
#define LUMETRA_BASE_FOREIGN_CALL_H

#include <exception>

namespace lumetra {

/// Runs `call`; what it throws ends here. Thread cancellation passes: glibc implements it as an exception of
/// no type, which must be rethrown.
template <class Call>
void callSafely(Call call) {
    try {
        call();
    } catch (...) {
        if (std::current_exception() == nullptr) throw;
    }
}

}  // namespace lumetra

#endif
