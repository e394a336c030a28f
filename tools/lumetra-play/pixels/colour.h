// colour.h - pictures between 3-byte RGB, in which they are drawn and shown, and the pushed formats.
// Luma and chroma are those of BT.601 in video range. For eyes, not for checks. Any thread; no state.
#ifndef LUMETRA_PLAY_COLOUR_H
#define LUMETRA_PLAY_COLOUR_H

#include "tools/lumetra-play/pixels/picture.h"

/// `rgb` holds 3 bytes a pixel; the result is level 0 of the picture.
void fromRgb(const Picture& picture, const Bytes& rgb, Bytes& frame);

/// Level 0 of `frame` as 3 bytes a pixel.
Bytes toRgb(const Picture& picture, const Bytes& frame);

#endif
