// text_exchange.h - what the host sees of a frame that a module pushes, and what it answers.
#ifndef LUMETRA_IMAGE_TEXT_EXCHANGE_H
#define LUMETRA_IMAGE_TEXT_EXCHANGE_H

#include <string>

#include "LumetraCore/LumetraTypes.h"
#include "core/configuration.h"

namespace lumetra {

/// Shows the host a frame's descriptor; its answer travels with the frame instead. Where frames are forwarded
/// both are JSON, and the host sees a picture of a YUYV frame with it, which never travels back.
/// Any thread: the pusher's, on which the host is called.
/// @param frame  borrowed: of the configured size; may be null
/// @throws std::range_error for a text that cannot be converted
/// @throws std::bad_alloc also for a size that intake would refuse
std::string exchangeText(LUMETRA_HOSTTEXTFN hostText, const char* descriptor, const unsigned char* frame,
                         const ICfg& cfg);

}  // namespace lumetra

#endif
