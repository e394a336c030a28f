// standard_log.h - the default log sink.
#ifndef LUMETRA_CORE_STANDARD_LOG_H
#define LUMETRA_CORE_STANDARD_LOG_H

#include "LumetraCore/LumetraTypes.h"

/// Writes one line to standard output and flushes it: "---- STDLOG on DLL 0: text ----". A LUMETRA_LOGFN.
void stdlog(std::int32_t level, const char16_t* text);

#endif
