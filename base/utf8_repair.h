// utf8_repair.h - makes valid UTF-8 of any bytes. Any thread; no state.
#ifndef LUMETRA_BASE_UTF8_REPAIR_H
#define LUMETRA_BASE_UTF8_REPAIR_H

#include <string>
#include <string_view>

namespace lumetra {

/// `bytes` with U+FFFD for each byte that belongs to no valid UTF-8 sequence. Drivers and file systems
/// hand out any bytes, and the conversion to UTF-16 would throw through the host's C interface.
std::string repairUtf8(std::string_view bytes);

}  // namespace lumetra

#endif
