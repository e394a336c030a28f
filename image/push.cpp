// push.cpp - frames that modules push. Runs on the module's thread.
// Where the host takes part in texts it sees the frame's descriptor first, and what it answers travels with
// the frame.
#include <string>

#include "base/process_wide.h"
#include "core/LumetraCoreExecutor.h"
#include "image/push_gate.h"
#include "image/text_exchange.h"

using namespace lumetra;

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
