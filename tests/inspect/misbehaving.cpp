// Modules that do at one place what no module should; the build picks which by a macro.
#include <LumetraCore/LumetraModule.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

std::int32_t getModuleID() {
#if defined(Crashing)
    std::raise(SIGSEGV);
#elif defined(Hanging)
    for (;;) pause();
#elif defined(HangingSilently)
    for (int descriptor = 3; descriptor < 100; ++descriptor) close(descriptor);
    for (;;) pause();
#elif defined(LeavingAProcess)
    if (fork() == 0)
        for (;;) pause();
    std::raise(SIGSEGV);
#elif defined(Leaving)
    std::_Exit(0);
#endif
    return 60;
}
std::int32_t getStatus() {
#if defined(ThrowingStatus)
    throw std::runtime_error("no status today");
#endif
    return STATUS_READY;
}
void destroy() {
#if defined(CrashingAtRemoval)
    std::abort();
#endif
}
