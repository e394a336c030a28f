// log_capture.h - collects what an engine logs for as long as it lives. One at a time.
#ifndef LUMETRA_TESTS_SUPPORT_LOG_CAPTURE_H
#define LUMETRA_TESTS_SUPPORT_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include "LumetraCore/utf_conversion.h"
#include "core/LumetraCoreExecutor.h"

class LogCapture {
public:
    explicit LogCapture(LumetraCoreExecutor& engine) {
        engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(&sink), nullptr);
        take();
    }

    /// The texts since the last call.
    static std::vector<std::string> take() {
        const std::lock_guard lock(mutex);
        return std::move(texts);
    }

    static void sink(std::int32_t level, const char16_t* text) {
        const std::lock_guard lock(mutex);
        texts.push_back((level == 0 ? "" : "level " + std::to_string(level) + ": ") +
                        convertUTFFormatVto8<char16_t, char>(text));
    }

private:
    static inline std::mutex mutex;
    static inline std::vector<std::string> texts;
};

#endif
