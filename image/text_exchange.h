// text_exchange.h - the host sees the descriptor of a frame that a module pushes, and its answer replaces it.
#ifndef LUMETRA_IMAGE_TEXT_EXCHANGE_H
#define LUMETRA_IMAGE_TEXT_EXCHANGE_H

#include <string>

#include "LumetraCore/LumetraTypes.h"
#include "core/configuration.h"

namespace lumetra {

/// Shows the host a frame's descriptor and returns its answer, which is delivered instead. With forwarding on
/// both are JSON, and a YUYV frame's picture is sent along and never comes back.
/// Any thread; the host is called on it.
/// @param frame  borrowed: of the configured size; may be null
/// @throws std::range_error for a text that cannot be converted
/// @throws std::bad_alloc also for a size that intake would refuse
std::string exchangeText(LUMETRA_HOSTTEXTFN hostText, const char* descriptor, const unsigned char* frame,
                         const ICfg& cfg);

}  // namespace lumetra

#endif
