// frame_tap.h - the module's one object: its receiver, the mailbox before it, and what it counts.
// Any thread, but deliverTo() and end() not on the receiver's: they wait for it.
#ifndef LUMETRA_TAP_FRAME_TAP_H
#define LUMETRA_TAP_FRAME_TAP_H

#include <atomic>
#include <cstdint>
#include <memory>

#include <LumetraCore/FrameMailbox.h>
#include <LumetraCore/LumetraTap.h>

class FrameTap {
public:
    /// Delivers to `receiver` from now on, in place of the one before, which is not called again on return.
    /// @return false, and nobody receives, if the system has no thread for it or unmaps libraries at will
    bool deliverTo(LUMETRA_TAPFN receiver, void* user);
    void end();  ///< nobody receives any more on return
    void pause(bool paused) { m_isPaused = paused; }
    void take(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk);

    int delivered() const;
    int skipped() const;
    int held() const;
    std::int32_t status() const;

private:
    std::uint64_t skippedFrames() const;

    lumetra::FrameMailbox m_mailbox;
    std::atomic<bool> m_hasReceiver{false};
    std::atomic<bool> m_isPaused{false};
    std::atomic<std::uint64_t> m_delivered{0};
    std::atomic<std::uint64_t> m_skippedBefore{0};  // by the mailbox, before this receiver
};

#endif
