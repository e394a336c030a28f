// logging.cpp - the only way of every message to the log callback. Any thread.
#include <string>

#include "LumetraCore/utf_conversion.h"
#include "base/foreign_call.h"
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

void LumetraCoreExecutor::logViaCallback(const std::string& text) {
    const auto sink = reinterpret_cast<LUMETRA_LOGFN>(m_callbacks.find(CB_LOG).first);
    if (sink == nullptr) return;

    const std::u16string converted = convertUTFFormat8toV<char, char16_t>(text);
    // A sink that fails must cost neither the frame nor the call that logged.
    callSafely([&] { sink(0, converted.c_str()); });
}

void LumetraCoreExecutor::passLogFromNativeLib(const char* text) {
    logViaCallback(text);
}
