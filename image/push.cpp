// push.cpp - frames that the host and modules push. Runs on the pusher's thread.
// With a text exchange registered, the host sees the descriptor of a module's frame first, and its answer
// travels with the frame instead.
#include <string>

#include "base/process_wide.h"
#include "core/LumetraCoreExecutor.h"
#include "image/intake.h"
#include "image/push_gate.h"
#include "image/text_exchange.h"

using namespace lumetra;

int LumetraCoreExecutor::pushImageData(const unsigned char* data, int size, const char* descriptor,
                                       int frameIndex) {
    const auto cfg = m_imgCfg.snapshot();
    const bool taken =
        takeIn({data, size, descriptor, frameIndex}, *cfg, {*m_frameBuffers, m_chunks, m_messages});
    return taken ? 1 : 0;
}

int LumetraCoreExecutor::pushNativeImage(void* context, const unsigned char* data, int size,
                                         const char* descriptor, int frameIndex) {
    if (descriptor == nullptr) descriptor = "";
    const PushGate::Visit visit(processWide<PushGate>(), context);
    if (!visit) return 0;

    auto& engine = *static_cast<LumetraCoreExecutor*>(context);
    const auto hostText = reinterpret_cast<LUMETRA_HOSTTEXTFN>(engine.m_callbacks.find(CB_HOSTTEXT).first);
    if (hostText == nullptr) return engine.pushImageData(data, size, descriptor, frameIndex);

    const auto cfg = engine.m_imgCfg.snapshot();
    const std::string answer = exchangeText(hostText, descriptor, data, *cfg);
    if (!visit.isStillOpen()) return 0;
    return engine.pushImageData(data, size, answer.c_str(), frameIndex);
}
