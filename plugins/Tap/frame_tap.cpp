// frame_tap.cpp - from a notification to the receiver's call.
#include "frame_tap.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <utility>

#include "tapped_frame.h"

namespace {

int asResult(std::uint64_t count) {
    return static_cast<int>(std::min<std::uint64_t>(count, INT_MAX));
}

}  // namespace

bool FrameTap::deliverTo(LUMETRA_TAPFN receiver, void* user) {
    // A host may release a frame whenever it likes, and that runs code of this library.
    if (!keepLibraryMapped()) return false;
    m_mailbox.stop();
    m_delivered = 0;
    m_skippedBefore = m_mailbox.counts().skipped;
    try {
        m_mailbox.start([this, receiver, user](std::uint64_t chunkId, const IChnk& chunk) {
            const LumetraTapFrame* const frame = makeTappedFrame(chunkId, chunk, skippedFrames());
            ++m_delivered;
            receiver(user, frame);
        });
        m_hasReceiver = true;
    } catch (const std::exception&) {  // hosts in other languages could not catch it
        m_hasReceiver = false;
    }
    return m_hasReceiver;
}

void FrameTap::end() {
    m_mailbox.stop();
    m_hasReceiver = false;
}

void FrameTap::take(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    if (!m_isPaused) m_mailbox.put(chunkId, std::move(chunk));
}

// The mailbox counts as long as it lives, and it lives as long as the library.
std::uint64_t FrameTap::skippedFrames() const {
    return m_mailbox.counts().skipped - m_skippedBefore;
}

int FrameTap::delivered() const {
    return asResult(m_delivered);
}

int FrameTap::skipped() const {
    return asResult(skippedFrames());
}

int FrameTap::held() const {
    return asResult(tappedFrames());
}

std::int32_t FrameTap::status() const {
    if (!m_hasReceiver) return LUMETRA_TAP_STATUS_IDLE;
    return m_isPaused ? LUMETRA_TAP_STATUS_PAUSED : STATUS_READY;
}
