// Looks at every frame, keeps the last one as modules do, and pushes frames when commanded. MODULE_ID comes
// from the build.
#include <LumetraCore/LumetraModule.h>

#include <mutex>
#include <stdexcept>
#include <vector>

#include "fuzz/support/checks.h"

namespace {

std::mutex mutex;  // guards the frame; the rest is the host's thread's
std::shared_ptr<IChnk> frame;
LUMETRA_PUSHFN push = nullptr;
void* context = nullptr;

}  // namespace

// An engine that ended left the library open, with what it had been given.
std::int32_t getModuleID() {
    push = nullptr;
    return MODULE_ID;
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind != CB_PUSHNATIVEIMAGE) return 0;
    push = reinterpret_cast<LUMETRA_PUSHFN>(function);
    context = user;
    return 1;
}

// The number is that of the bytes to push.
int command(LUMETRA_CMDTYPE bytes, const char* descriptor) {
    if (push == nullptr || bytes < 0) return 0;
    const std::vector<unsigned char> pixels(static_cast<std::size_t>(bytes));
    return push(context, pixels.data(), bytes, descriptor, 1);
}

void notifyNewData(std::uint64_t, std::shared_ptr<IChnk> chunk) {
    checkLevels(*chunk);
    const std::lock_guard lock(mutex);
    frame = std::move(chunk);
}

void initialize(const char* configuration) {
    if (*configuration == '!') throw std::range_error("as told");
}

void destroy() {
    const std::lock_guard lock(mutex);
    frame.reset();
}
