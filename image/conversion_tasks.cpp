// conversion_tasks.cpp - the engine's conversions: handed to the workers, and run there.
#include "base/clock.h"
#include "core/LumetraCoreExecutor.h"
#include "image/conversion.h"

using namespace lumetra;

void LumetraCoreExecutor::queueConversion(std::uint64_t id) {
    const LUMETRA_CONVERSIONMODIFIER flags = m_imgCfg.snapshot()->conversionflags;
    if (!wants(flags, LUMETRA_CONVERT_DEBUGDUMP))  // a dump needs the pixels however old the frame is
        m_chunks.expectConversion(id);
    try {
        m_threadPool->enqueue(&LumetraCoreExecutor::convertQueued, this, id, flags);
    } catch (...) {
        m_chunks.forgetConversion(id);
        throw;
    }
}

// Converting a frame that is too old to be delivered would delay those queued behind it.
void LumetraCoreExecutor::convertQueued(std::uint64_t id, LUMETRA_CONVERSIONMODIFIER flags) {
    m_chunks.conversionBegins(id, currentTimeMs());
    convertImageData(id, flags);
}

void LumetraCoreExecutor::convertImageData(unsigned long long id, LUMETRA_CONVERSIONMODIFIER flags) {
    const MessageAtExit notify(*this, {MSG_NOTIFY, id});
    convertStored(m_chunks, id, flags, m_imgCfg, [this] { logViaCallback("NOT IMPLEMENTED!"); });
}
