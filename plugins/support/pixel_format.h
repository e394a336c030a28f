// pixel_format.h - bytes of a pixel. Any thread; no state.
#ifndef LUMETRA_PLUGINS_SUPPORT_PIXEL_FORMAT_H
#define LUMETRA_PLUGINS_SUPPORT_PIXEL_FORMAT_H

#include <cstddef>

#include <LumetraCore/LumetraTypes.h>

/// 0 for formats without whole pixels.
constexpr std::size_t bytesPerPixel(LUMETRA_IMGFORMATTYPE format) {
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
        case LUMETRA_IMGFORMAT_BGR:
            return 3;
        case LUMETRA_IMGFORMAT_BGRA:
            return 4;
        case LUMETRA_IMGFORMAT_YUYV:
            return 2;
        case LUMETRA_IMGFORMAT_GRAY8:
            return 1;
        default:
            return 0;
    }
}

#endif
