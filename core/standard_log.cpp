// standard_log.cpp - a line a message.
#include "core/standard_log.h"

#include <cstdio>
#include <string>

#include "LumetraCore/utf_conversion.h"

void stdlog(std::int32_t level, const char16_t* text) {
    const std::string line = "---- STDLOG on DLL " + std::to_string(level) + ": " +
                             convertUTFFormatVto8<char16_t, char>(text) + " ----\n";
    std::fwrite(line.data(), 1, line.size(), stdout);  // whole, so that lines of two threads rarely mix
    std::fflush(stdout);
}
