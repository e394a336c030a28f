// my_module.cpp - a module to start from: it measures how bright frames are, on a thread of its own, and says
// when light turns dark. These are all nine functions that a module may have. Only getModuleID is required:
// delete what you do not need. LumetraCore/LumetraModule.h has every promise that holds between the engine
// and them.
#include <LumetraCore/FrameMailbox.h>
#include <LumetraCore/LumetraModule.h>

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <numeric>
#include <system_error>
#include <utility>

namespace {

constexpr std::int32_t MY_ID = 42;  // yours alone: a second module that reports it would replace this one
constexpr std::int32_t MY_CMD_BRIGHTNESS = LUMETRA_CMD_MODULE_FIRST;

// Frames are measured on one thread while the host asks on others.
std::mutex stateMutex;  // guards the four below; never held while the host's function runs
bool running = true;
int darkBelow = 40;
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

/// Takes a frame's brightness in; true if light has turned dark by it.
bool turnsDark(int mean) {
    const std::lock_guard lock(stateMutex);
    if (!running) return false;
    const bool wasDark = dark;
    brightness = mean;
    dark = mean < darkBelow;
    return dark && !wasDark;
}

/// The work, as long as it likes: it gets one frame at a time, and always the newest. Do not write to its
/// pixels, which other modules see too; copy `frame.data` to keep them.
void lookAt(std::uint64_t, const IChnk& frame) {
    // Without LUMETRA_CONVERT_GRAY frames come in the host's own format.
    if (frame.format != LUMETRA_IMGFORMAT_GRAY8) return;
    if (turnsDark(meanOf(frame))) log(u"MyModule: it is dark");
}

lumetra::FrameMailbox mailbox;  // last: its thread uses what is above

}  // namespace

// Called first, once, while the host loads the module.
std::int32_t getModuleID() {
    return MY_ID;
}

// The host's configuration, in a form of your own choice: here one number, below which a frame is dark.
// Frames may come before it; the mailbox takes them from here on. It may be called again.
void initialize(const char* configuration) {
    {
        const std::lock_guard lock(stateMutex);
        darkBelow = std::atoi(configuration);
    }
    try {
        mailbox.start(lookAt, [](const char*) { log(u"MyModule: a frame could not be looked at"); });
    } catch (const std::system_error&) {
        log(u"MyModule: the system has no thread for it");
    }
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

// One frame, on a thread that converts frames too: pass it on and return. What takes no longer than a copy
// may be done here.
void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    mailbox.put(chunkId, std::move(chunk));
}

// What the host should see of this module; STATUS_READY is what it expects of one that works.
std::int32_t getStatus() {
    return STATUS_READY;
}

// The host's last call. stop() joins the thread; frames delivered afterwards are discarded.
// Free nothing that notifyNewData uses; what is static ends with the library.
void destroy() {
    mailbox.stop();
}
