// CoreMedia.h - picture sizes of formats, as a test plays them on other systems. Any thread.
#ifndef LUMETRA_TESTS_APPLE_COREMEDIA_H
#define LUMETRA_TESTS_APPLE_COREMEDIA_H

#include <cstdint>

struct CMVideoDimensions {
    std::int32_t width, height;  // pixels
};
using CMFormatDescriptionRef = const CMVideoDimensions*;

extern "C" CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMFormatDescriptionRef description);

#endif
