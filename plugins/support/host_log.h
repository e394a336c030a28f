// host_log.h - the host's log function, for as long as a module may call it. Any thread.
#ifndef LUMETRA_PLUGINS_SUPPORT_HOST_LOG_H
#define LUMETRA_PLUGINS_SUPPORT_HOST_LOG_H

#include <cstdint>
#include <shared_mutex>
#include <string_view>

#include <LumetraCore/LumetraTypes.h>

class HostLog {
public:
    /// Takes the function of registerCallback(CB_LOG); null takes it back. Waits for calls under way, so the
    /// function itself must not lead here.
    void set(void* function);

    /// Logs one line of UTF-8. Bytes that are none show as U+FFFD, control characters as '?'.
    /// @return false if nobody listens or the function threw, which goes no further; only a thread that is
    ///         cancelled there ends as it should
    bool write(std::int32_t level, std::string_view line);

private:
    std::shared_mutex m_mutex;  // guards the function; held shared while it runs
    LUMETRA_LOGFN m_function = nullptr;
};

#endif
