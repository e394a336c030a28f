// loader_trace.h - which libraries and symbols the system's loader misses in a file, all of them, found
// without running any of its code.
#ifndef LUMETRA_INSPECT_LOADER_TRACE_H
#define LUMETRA_INSPECT_LOADER_TRACE_H

#include <filesystem>
#include <string>
#include <vector>

struct LoaderTrace {
    std::vector<std::string> missingLibraries, missingSymbols;  // symbols as the source has them
};

/// @throws std::system_error the loader cannot be started
LoaderTrace traceLoader(const std::filesystem::path& file);

/// A C++ name as the source has it; another as it is.
std::string demangled(const std::string& symbol);

std::string joined(const std::vector<std::string>& words, const char* between);

#endif
