"""Pictures in memory: how many bytes a frame has, and rows that do not follow each other."""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from .constants import ImageFormat

#: Bytes of a pixel of the formats whose pixels have whole ones.
BYTES_PER_PIXEL = {
    ImageFormat.RGB: 3,
    ImageFormat.BGRA: 4,
    ImageFormat.YUYV: 2,
    ImageFormat.BGR: 3,
    ImageFormat.GRAY8: 1,
}


def picture_bytes(image_format: ImageFormat, width: int, height: int) -> int:
    """Bytes of a picture without padding."""
    if image_format == ImageFormat.YUV420:
        return width * height * 12 // 8
    return width * height * BYTES_PER_PIXEL.get(image_format, 0)


def picture_shape(width: int, height: int, depth: int) -> Tuple[int, ...]:
    """Rows, columns and bytes of a pixel; pixels of one byte have no third side."""
    return (height, width) if depth == 1 else (height, width, depth)


def pack_pixels(
    memory: Any,
    width: int,
    height: int,
    bytes_per_pixel: int = 1,
    *,
    stride: Optional[int] = None,
    top: int = 0,
) -> "np.ndarray[Any, np.dtype[np.uint8]]":
    """The picture in `memory` as an array whose rows follow each other, top row first, as frames are pushed.

    memory: bytes, or anything that gives them without a copy (an mmap, a ctypes array, another array).
    bytes_per_pixel: 1 for a plane or grey, 2 for YUYV, 3 for RGB and BGR, 4 for BGRA.
    stride: bytes from a row to the one below it, by default those of a row. Negative where memory holds the bottom row
        first: then `top` is where the last row begins.
    top: where in `memory` the top row begins.

    A picture that is packed already is not copied. Raises ValueError for a side below 1, a row longer than the stride
    and a picture that does not lie in `memory`.
    """
    row = width * bytes_per_pixel
    stride = row if stride is None else stride
    if width < 1 or height < 1 or bytes_per_pixel < 1:
        raise ValueError("a side or pixel is below 1")
    if abs(stride) < row:
        raise ValueError("a row is longer than the stride")
    data = np.frombuffer(memory, np.uint8)
    last = top + (height - 1) * stride
    if min(top, last) < 0 or max(top, last) + row > data.size:
        raise ValueError("the picture does not lie in the memory")
    rows: Any = np.ndarray((height, row), np.uint8, data, top, (stride, 1))
    return np.ascontiguousarray(rows).reshape(picture_shape(width, height, bytes_per_pixel))
