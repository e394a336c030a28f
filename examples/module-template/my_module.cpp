// my_module.cpp - a module to start from: it measures how bright each frame is and says when light turns
// dark. These are all nine functions that a module may have. Only getModuleID is required: delete what you do
// not need. LumetraCore/LumetraModule.h has every promise that holds between the engine and them.
#include <LumetraCore/LumetraModule.h>

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <numeric>

namespace {

constexpr std::int32_t MY_ID = 42;  // yours alone: a second module that reports it would replace this one
constexpr std::int32_t MY_CMD_BRIGHTNESS = LUMETRA_CMD_MODULE_FIRST;

// Several frames may be told at once, on different threads, while the host asks on yet another.
std::mutex stateMutex;  // guards the five below; never held while the host's function runs
bool running = true;
int darkBelow = 40;
std::uint64_t newestId = 0;
int brightness = -1;
bool dark = false;

std::mutex logMutex;  // held while logging, so that unregisterCallback waits for the last message
LUMETRA_LOGFN logFunction = nullptr;

void log(const char16_t* message) {
    const std::lock_guard lock(logMutex);
    if (logFunction != nullptr) logFunction(0, message);
}

int meanOf(const IChnk& frame) {
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    const unsigned char* const grey = frame.data->lvl[0];  // top row first, no padding
    return static_cast<int>(std::accumulate(grey, grey + pixels, std::uint64_t{0}) / pixels);
}

/// Frames may overtake each other, by less than a second: what seems older than that came after the clock was
/// set back.
bool wasOvertaken(std::uint64_t chunkId) {
    return chunkId < newestId && newestId - chunkId < 1000;
}

/// Takes the newest frame's brightness in; true if light has turned dark by it.
bool turnsDark(std::uint64_t chunkId, int mean) {
    const std::lock_guard lock(stateMutex);
    if (!running || wasOvertaken(chunkId)) return false;
    const bool wasDark = dark;
    newestId = chunkId;
    brightness = mean;
    dark = mean < darkBelow;
    return dark && !wasDark;
}

}  // namespace

// Called first, once, while the host loads the module.
std::int32_t getModuleID() {
    return MY_ID;
}

// The host's configuration, in a form of your own choice: here one number, below which a frame is dark.
// Frames may come before it, and a host may never call it, so start with values that make sense.
void initialize(const char* configuration) {
    const std::lock_guard lock(stateMutex);
    darkBelow = std::atoi(configuration);
}

// Which functions of the host or the engine this module wants; the array has room for every kind.
int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_LOG;
    return 1;
}

// Here such a function is; 1 if it is wanted. A module that pushes frames of its own takes
// CB_PUSHNATIVEIMAGE.
int registerCallback(LUMETRA_CBTYPE kind, void* function, void*) {
    if (kind != CB_LOG) return 0;
    const std::lock_guard lock(logMutex);
    logFunction = reinterpret_cast<LUMETRA_LOGFN>(function);
    return 1;
}

// Once this has returned the function must not be called again.
int unregisterCallback(LUMETRA_CBTYPE kind) {
    if (kind != CB_LOG) return 0;
    const std::lock_guard lock(logMutex);
    logFunction = nullptr;
    return 1;
}

// MY_CMD_BRIGHTNESS: 0 black to 255 white, -1 before the first frame. START and STOP: 1. All else: 0.
int command(LUMETRA_CMDTYPE command, const char*) {
    const std::lock_guard lock(stateMutex);
    switch (static_cast<std::int32_t>(command)) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            running = command == LUMETRA_CMD_START;
            return 1;
        case MY_CMD_BRIGHTNESS:
            return brightness;
        default:
            return 0;
    }
}

// One frame. Do not write to its pixels, which other modules see too; keep `chunk` to keep them.
void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    // Without LUMETRA_CONVERT_GRAY frames come in the host's own format.
    if (chunk->format != LUMETRA_IMGFORMAT_GRAY8) return;
    if (turnsDark(chunkId, meanOf(*chunk))) log(u"MyModule: it is dark");
}

// What the host should see of this module; STATUS_READY is what it expects of one that works.
std::int32_t getStatus() {
    return STATUS_READY;
}

// The host's last call: join threads of your own here. A frame that a worker has taken up may still be told,
// so free nothing that notifyNewData uses; what is static ends with the library.
void destroy() {}
