// jpeg_encoding.h - grey pixels as a JPEG file. Any thread; no state.
#ifndef LUMETRA_LIVEVIEW_JPEG_ENCODING_H
#define LUMETRA_LIVEVIEW_JPEG_ENCODING_H

#include <memory>
#include <string>

#include "support/grey_levels.h"

/// @param quality  1 to 100
/// @return null for what no JPEG file holds: no pixels, or a side of more than 65,500; or without memory
std::shared_ptr<const std::string> encodeJpeg(const GreyLevel& level, int quality);

#endif
