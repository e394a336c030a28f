// process_state.h - what a module shares with its host: threads, descriptors, mappings, settings of the
// process.
#ifndef LUMETRA_INSPECT_PROCESS_STATE_H
#define LUMETRA_INSPECT_PROCESS_STATE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

std::ptrdiff_t threadCount();
std::ptrdiff_t descriptorCount();
std::ptrdiff_t mappedPages();

/// Working folder, file mode mask, locale, rounding, signals: a line for each setting.
std::string processSettings();

/// Looks again and again until `holds`, for that long at most.
bool becomesTrue(const std::function<bool()>& holds,
                 std::chrono::milliseconds most = std::chrono::milliseconds(1000));

#endif
