// configuration.h - the configuration, shared as immutable snapshots. Any thread.
// Each step (push, hand-over to a worker, conversion) takes one snapshot.
#ifndef LUMETRA_CORE_CONFIGURATION_H
#define LUMETRA_CORE_CONFIGURATION_H

#include <cstdint>
#include <memory>
#include <string>

#include "LumetraCore/LumetraTypes.h"
#include "base/synchronized.h"

namespace lumetra {

struct ICfg {
    bool valid = false;
    std::int32_t width = 0;   // pixels
    std::int32_t height = 0;  // pixels
    bool mipMap = false;
    bool forwardNativeImage = false;
    LUMETRA_CONVERSIONMODIFIER conversionflags = LUMETRA_CONVERSIONMODIFIER(
        LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID | LUMETRA_CONVERT_FLIPVERTICAL);
    std::string writablepath = ".";
    LUMETRA_IMGFORMATTYPE format = LUMETRA_IMGFORMAT_NONE;
};

/// Whether the flags ask for one of theirs.
inline bool wants(LUMETRA_CONVERSIONMODIFIER flags, LUMETRA_CONVERSIONMODIFIER flag) {
    return (flags & flag) != 0;
}

class Configuration {
public:
    using Snapshot = std::shared_ptr<const ICfg>;

    /// Never null.
    Snapshot snapshot() const { return m_current.copy(); }

    /// Replaces it by what a JSON document says (docs/configuration.md). True if it is valid now.
    /// @throws std::bad_alloc with nothing changed
    bool configure(const char* json);
    /// Frames are refused until the next configuration.
    /// @throws std::bad_alloc with nothing changed
    void invalidate();

private:
    Synchronized<Snapshot> m_current{std::make_shared<const ICfg>()};
};

}  // namespace lumetra

#endif
