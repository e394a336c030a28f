"""The enumerations of the interface. A module's own numbers are plain integers."""

import enum


class ImageFormat(enum.IntEnum):
    """Pixel layout of a frame. Rows follow each other without padding, top row first."""

    NONE = 0  #: no pixels
    RGB = 1  #: 3 bytes a pixel: R, G, B
    YUV420 = 2  #: 12 bits a pixel; carried, never read by the engine
    BGRA = 3  #: 4 bytes a pixel: B, G, R, A; alpha is ignored
    YUYV = 4  #: 2 bytes a pixel, packed 4:2:2: Y0, U, Y1, V
    BGR = 5  #: 3 bytes a pixel: B, G, R
    RESERVED6 = 6  #: no pixel bytes are kept
    GRAY8 = 7  #: 1 byte a pixel; what modules receive after a conversion


class ConversionFlags(enum.IntFlag):
    """What happens to a frame before modules see it."""

    NONE = 0  #: the frame travels as it came
    GRAY = 1  #: to 8-bit grey; without it no pixel is touched
    PYRAMID = 2  #: levels 1 to 7 too
    FLIP_VERTICAL = 4  #: last input row first; with GRAY only
    DEBUG_DUMP = 8  #: write the levels as PGM or PPM files to the writable path


class Command(enum.IntEnum):
    """Commands that modules know by name; their own begin at MODULE_FIRST."""

    CONFIGURE = 1
    START = 3  #: begin
    STOP = 4  #: pause
    INVALIDATE = 8
    MODULE_FIRST = 1000


class CallbackKind(enum.IntEnum):
    """Callback kinds. The engine itself takes LOG and HOST_TEXT."""

    LOG = 1
    TYPE2 = 2  #: defined by modules; the engine only forwards it
    PUSH_NATIVE_IMAGE = 3  #: the engine's push function, given to a module
    HOST_TEXT = 4


class Status(enum.IntEnum):
    """Statuses that the engine gives; a module's own may be any number."""

    READY = 1
    UNAVAILABLE = 3  #: no such module, or one that cannot tell
