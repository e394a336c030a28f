// timed_waits.cpp - stands before the C library's timed wait and counts those that end because their time has
// come, which is what a system counts as a process's timer wake-ups.
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string>

#include "bench/live_engine.h"

namespace {

std::mutex mutex;  // guards `ended`
std::map<std::string, long> ended;

}  // namespace

long endedSleeps(const std::string& thread) {
    const std::lock_guard lock(mutex);
    return ended[thread];
}

extern "C" __attribute__((visibility("default"))) int pthread_cond_clockwait(pthread_cond_t* condition,
                                                                             pthread_mutex_t* locked,
                                                                             clockid_t clock,
                                                                             const timespec* until) {
    using Wait = int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
    static const auto wait = reinterpret_cast<Wait*>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    const int result = wait(condition, locked, clock, until);
    if (result == ETIMEDOUT) {
        const std::lock_guard lock(mutex);
        ++ended[std::to_string(gettid())];
    }
    return result;
}
