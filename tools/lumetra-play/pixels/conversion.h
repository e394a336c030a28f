// conversion.h - pictures from one of the engine's formats to another, for the eye and for the built-in
// scene. By FFmpeg's libswscale where the build has it; without it there is no packed 4:2:2. Any thread; no
// state.
#ifndef LUMETRA_PLAY_CONVERSION_H
#define LUMETRA_PLAY_CONVERSION_H

#include "tools/lumetra-play/pixels/picture.h"

/// Level 0 of `frame`, a frame of `picture`, in another format. @throws PlayError if the build cannot
Bytes convertPixels(const Picture& picture, const Bytes& frame, LUMETRA_IMGFORMATTYPE format);

#endif
