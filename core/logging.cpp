// logging.cpp - the only way of every message to the log callback. Any thread.
#include "core/standard_log.h"

#include <cstdio>
#include <string>

#include "LumetraCore/utf_conversion.h"
#include "base/foreign_call.h"
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

void stdlog(std::int32_t level, const char16_t* text) {
    const std::string line = "---- STDLOG on DLL " + std::to_string(level) + ": " +
                             convertUTFFormatVto8<char16_t, char>(text) + " ----\n";
    std::fwrite(line.data(), 1, line.size(), stdout);  // whole, so that lines of two threads rarely mix
    std::fflush(stdout);
}

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
