"""Frames as modules see them: the module Tap hands each one to a function, its levels as arrays without a copy."""

from __future__ import annotations

import ctypes
import os
import weakref
from typing import TYPE_CHECKING, Any, Callable, Dict, List, Optional, Union

import numpy as np

from . import _native
from .constants import CallbackKind, Command, ImageFormat
from .pixels import BYTES_PER_PIXEL, picture_shape

if TYPE_CHECKING:
    from .engine import Engine

_LEVELS = 8
_DELIVERED, _SKIPPED, _HELD = (Command.MODULE_FIRST + k for k in range(3))


class _TapFrame(ctypes.Structure):
    """LumetraTapFrame of LumetraTap.h."""


_RELEASEFN = ctypes.CFUNCTYPE(None, ctypes.POINTER(_TapFrame))
_TapFrame._fields_ = [
    ("structSize", ctypes.c_uint32),
    ("format", ctypes.c_int32),
    ("id", ctypes.c_uint64),
    ("skipped", ctypes.c_uint64),
    ("frameIndex", ctypes.c_int32),
    ("width", ctypes.c_int32),
    ("height", ctypes.c_int32),
    ("descriptorSize", ctypes.c_int32),
    ("descriptor", ctypes.c_void_p),
    ("levels", ctypes.c_void_p * _LEVELS),
    ("levelSizes", ctypes.c_int32 * _LEVELS),
    ("release", _RELEASEFN),
]
_TAPFN = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(_TapFrame))


class _Handle:
    """A frame of the module's, released with the last array or Frame that refers to it."""

    def __init__(self, native: Any) -> None:
        self._finalizer = weakref.finalize(self, native.contents.release, native)
        self._finalizer.atexit = False  # an array may be looked at until the very end


class _Pixels:
    """What numpy makes an array of without a copy; it keeps this, and this keeps the frame."""

    def __init__(self, handle: _Handle, address: int, shape: "tuple[int, ...]") -> None:
        self._handle = handle
        self.__array_interface__ = {"version": 3, "typestr": "|u1", "shape": shape, "data": (address, True)}


class Frame:
    """One frame. It and its arrays may be kept as long as you like, also after the engine's end; what is kept is
    memory that the engine cannot use again, so drop what you do not need."""

    def __init__(self, native: Any) -> None:
        record = native.contents
        self._handle = _Handle(native)
        self.id: int = record.id  #: push time: milliseconds since the Unix epoch
        self.frame_index: int = record.frameIndex  #: the pusher's number for the frame
        self.width: int = record.width
        self.height: int = record.height
        self.format: int = record.format  #: ImageFormat.GRAY8 after a conversion, else the configured one
        self.skipped: int = record.skipped  #: frames skipped so far, for newer ones that came meanwhile
        text = ctypes.string_at(record.descriptor, record.descriptorSize)
        self.descriptor: str = text.decode("utf-8", "replace")  #: the text that travels with the frame
        #: Levels 0 to 7 as read-only arrays, None for one without pixels. Grey has rows and columns, colours also
        #: the bytes of a pixel; YUV420 is flat.
        self.levels: "List[Optional[np.ndarray[Any, np.dtype[np.uint8]]]]" = [
            self._level(record, k) for k in range(_LEVELS)
        ]

    @property
    def pixels(self) -> "np.ndarray[Any, np.dtype[np.uint8]]":
        """Level 0. Raises ValueError if the frame has no pixels."""
        if self.levels[0] is None:
            raise ValueError("a frame without pixels")
        return self.levels[0]

    def _level(self, record: Any, k: int) -> "Optional[np.ndarray[Any, np.dtype[np.uint8]]]":
        if not record.levels[k]:
            return None
        width, height, size = self.width >> k, self.height >> k, record.levelSizes[k]
        depth = BYTES_PER_PIXEL.get(self.format)  # type: ignore[call-overload]
        shape = picture_shape(width, height, depth) if depth else (size,)
        return np.asarray(_Pixels(self._handle, record.levels[k], shape))

    def __repr__(self) -> str:
        try:
            name = ImageFormat(self.format).name
        except ValueError:
            name = str(self.format)
        return f"<Frame {self.frame_index}, {self.width}x{self.height} {name}>"


class Tap:
    """The module Tap in an engine; it hands every frame to `receiver`.

        frames = queue.SimpleQueue()
        tap = lumetracore.Tap(engine, frames.put)

    The receiver runs on a thread of the module's, one frame at a time. While it is at work newer frames replace the
    one that waits, so that a slow one sees fewer frames, each of them recent. What it raises goes to
    threading.excepthook. It can neither remove this nor close the engine, which would wait for it.
    """

    def __init__(
        self,
        engine: "Engine",
        receiver: Callable[[Frame], Any],
        folder: Union[str, "os.PathLike[str]", None] = None,
    ) -> None:
        """Loads the module, see Engine.register_module(). Raises ModuleError if that cannot be done."""
        self.module = engine.register_module("Tap", folder)
        owner = self.module.id

        def receive(_user: Optional[int], native: Any) -> None:
            _native.call_handler(owner, lambda: receiver(Frame(native)))

        try:
            self.module.register_callback(CallbackKind.TYPE2, _TAPFN(receive))
        except _native.LumetraError:
            self.module.remove()
            raise

    @property
    def counts(self) -> Dict[str, int]:
        """How many frames were delivered, skipped for newer ones, and how many are held: delivered and still referred
        to."""
        return {
            "delivered": self.module.command(_DELIVERED),
            "skipped": self.module.command(_SKIPPED),
            "held": self.module.command(_HELD),
        }

    def pause(self) -> None:
        """Delivers no frames until resume()."""
        self.module.command(Command.STOP)

    def resume(self) -> None:
        """Delivers frames again."""
        self.module.command(Command.START)

    def remove(self) -> None:
        """Removes the module; the receiver is not called any more when this returns. Raises LumetraError in the
        receiver."""
        self.module.remove()
