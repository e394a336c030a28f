// engine.h - the real library, driven as a host drives it.
#ifndef LUMETRA_INSPECT_ENGINE_H
#define LUMETRA_INSPECT_ENGINE_H

#include <cstdint>
#include <string>

#include "tools/support/library_table.h"

/// One in a process.
class Engine : public LibraryTable {
public:
    /// For frames of 256 x 192 pixels. @throws LibraryError if the engine refuses
    void configure(std::int32_t format, int flags, bool mipMap, bool forward = false) const;
    /// Hands over that many frames for the configuration, 2 ms apart, and time for the last to arrive.
    void pushFrames(int count) const;
    void initializeModule(std::int32_t id, const std::string& configuration) const;
};

inline constexpr int ENGINE_WIDTH = 256, ENGINE_HEIGHT = 192;

#endif
