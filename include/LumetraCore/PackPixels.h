/** @file
 * PackPixels.h - copies a picture with padded or reversed rows, or one plane of it, into rows that follow
 * each other, top row first, as frames are pushed. C11 and C++17, nothing to link; any thread. */
#ifndef LUMETRACORE_PACKPIXELS_H
#define LUMETRACORE_PACKPIXELS_H

#ifdef __cplusplus
#include <cstddef>
#include <cstdint>
#include <cstring>
#else
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#endif

/** Packs `height` rows of `width` pixels. Further planes go behind the first: their place is `packed` plus
 *  the results so far.
 *  @param packed         the caller's, filled; it may begin where the picture does, if the stride is positive
 *  @param room           bytes at `packed`
 *  @param topRow         borrowed: the row that is seen at the top. Where memory holds the bottom row first
 *                        that is the last one, at `memory + (height - 1) * bytesPerRow`
 *  @param stride         bytes from a row to the one below it; at least those of a row, or at most their
 *                        negative where memory holds the bottom row first
 *  @param bytesPerPixel  1 for a plane or grey; 2 for YUYV and for the U and V of NV12, whose width and
 *                        height are half the picture's; 3 for RGB and BGR; 4 for BGRA
 *  @return bytes written; 0, and nothing is written, for a side or pixel below 1, a row longer than the
 *          stride, too little room, or null */
static inline size_t lumetra_pack_pixels(unsigned char* packed, size_t room, const unsigned char* topRow,
                                         ptrdiff_t stride, int32_t width, int32_t height,
                                         int32_t bytesPerPixel) {
    if (packed == NULL || topRow == NULL || width < 1 || height < 1 || bytesPerPixel < 1) return 0;
    const size_t distance = stride < 0 ? 0 - (size_t)stride : (size_t)stride;
    if ((size_t)width > distance / (size_t)bytesPerPixel) return 0;
    const size_t row = (size_t)width * (size_t)bytesPerPixel;
    if ((size_t)height > room / row) return 0;

    const size_t size = row * (size_t)height;
    if (stride > 0 && distance == row) {
        memmove(packed, topRow, size);
        return size;
    }
    for (size_t done = 0; done < size; done += row) {
        memmove(packed + done, topRow, row);
        if (done + row < size) topRow += stride; /* no address outside the picture is ever formed */
    }
    return size;
}

#endif
