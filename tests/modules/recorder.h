// recorder.h - how a test talks to the recorder module that it has loaded: through the library that is
// open already, never opening it for longer than a call.
#ifndef LUMETRA_TESTS_MODULES_RECORDER_H
#define LUMETRA_TESTS_MODULES_RECORDER_H

#include <LumetraCore/IChnk.h>
#include <dlfcn.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

struct Notification {
    std::uint64_t id;
    std::shared_ptr<IChnk> chunk;
    LUMETRA_IMGFORMATTYPE format;  // at that time
};

/// Where notifications wait on their workers. It is the test's own, so that opening it touches nothing of a
/// module that may be gone with the last of them.
class NotificationGate {
public:
    void pass() {
        std::unique_lock lock(mutex);
        ++count;
        opened.wait(lock, [this] { return isOpen; });
    }
    void open() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        opened.notify_all();
    }
    int waiting() {
        const std::lock_guard lock(mutex);
        return count;
    }

private:
    std::mutex mutex;
    std::condition_variable opened;
    bool isOpen = false;
    int count = 0;
};

/// What a recorder has written down, and what it is to do.
struct RecorderControl {
    std::vector<std::string> takeCalls() {
        const std::lock_guard lock(mutex);
        return std::move(calls);
    }
    std::vector<Notification> takeNotifications() {
        const std::lock_guard lock(mutex);
        return std::move(notifications);
    }

    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<Notification> notifications;
    std::atomic<NotificationGate*> gate = nullptr;  // where every notification is held
    std::atomic<bool> throwsAlways = false;         // every entry point, after it was written down
    void* lastFunction = nullptr;
    void* lastUser = nullptr;
};

/// The library's handle, without opening it once more; null if it is not mapped.
inline void* mappedLibrary(const std::string& name) {
    void* const handle = dlopen((name + ".framework/" + name).c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle;
}
inline bool isMapped(const std::string& name) {
    return mappedLibrary(name) != nullptr;
}
/// For a library that an engine has left open.
inline void closeForGood(const std::string& name) {
    dlclose(mappedLibrary(name));
}

/// The control of a recorder module; null if it is not loaded or no recorder.
inline RecorderControl* recorder(const std::string& name) {
    void* const library = mappedLibrary(name);
    if (library == nullptr) return nullptr;
    const auto control = reinterpret_cast<RecorderControl* (*)()>(dlsym(library, "recorderControl"));
    return control == nullptr ? nullptr : control();
}

#endif
