"""The engine and its modules, as a host in Python drives them."""

from __future__ import annotations

import atexit
import contextlib
import ctypes
import itertools
import json
import operator
import os
import threading
import time
from typing import Any, Callable, Dict, Iterator, List, Optional, Set, Union

import numpy as np

from . import _native
from ._native import LumetraError
from .constants import CallbackKind, Command, ConversionFlags, ImageFormat
from .pixels import BYTES_PER_PIXEL, picture_bytes

LogHandler = Callable[[int, str], Any]
HostTextHandler = Callable[[str], Optional[str]]
ResultHandler = Callable[[Any], Any]
#: JSON: a text as it is, or what the module json turns into one.
Json = Union[str, Dict[str, Any], List[Any]]

_ENGINE_MODULE_ID = 0
_SUPPORTED_KINDS_ROOM = 256  # modules write as many kinds as they have
_RESULT_FORM_COMMAND, _TEXT_RESULTS = 16, 0x54455854

_working_folder_lock = threading.RLock()  # a log handler may load a module while one is loaded
_current_lock = threading.Lock()
_current: Optional[Engine] = None
_was_forked = False  # with an engine, whose threads are the parent's


class ModuleError(LumetraError):
    """A module cannot be loaded, or does not take what it was given."""


class Engine:
    """The engine, from its construction to close(); there is one in a process.

        with Engine(640, 480, ImageFormat.RGB) as engine:
            engine.push(array)

    Any thread may call. Handlers run on threads of the engine and of its modules, several at once, and what they
    raise goes to threading.excepthook. A handler may call the engine, but not close it. sys.exit() in a handler has no
    effect; Ctrl-C in one on the calling thread is raised when the call returns.

    The engine does not survive os.fork(): make it in the child.

    A C++ exception ends the process: memory that runs out, and what a module's own functions throw.
    """

    def __init__(
        self,
        width: Optional[int] = None,
        height: Optional[int] = None,
        format: ImageFormat = ImageFormat.GRAY8,
        flags: ConversionFlags = ConversionFlags.GRAY,
        *,
        modules: Union[str, "os.PathLike[str]", None] = None,
        log: Optional[LogHandler] = None,
        **options: Any,
    ) -> None:
        """Creates the engine, and configures it if a size is given: see configure(), also for `options`.

        modules: the folder that holds NAME.framework/NAME; by default the working folder, or else that of the modules
            installed along with the library.
        log: handler of the engine's log, see on_log(); by default the log goes to standard output.

        Raises LumetraError if there is an engine already or the library is not found, and what configure() raises.
        """
        global _current
        if (width is None) != (height is None):
            raise ValueError("a size has two sides")
        if width is None and options:
            raise TypeError(f"without a size there is no configuration for {', '.join(options)}")
        self._library = _native.load_library()
        self._modules_folder = modules
        self._handed_out: List[Any] = []  # what native code may call until the engine has ended
        self._numbers = itertools.count()
        self._picture: Optional[_Picture] = None
        self._state = threading.Condition()  # guards the next four; no native call is made with it held
        self._modules: Dict[int, Module] = {}
        self._names_in_work: Set[str] = set()  # of modules that are being loaded or removed
        self._calls = 0
        self._is_open = True
        self._closing = threading.Lock()  # guards the next
        self._has_ended = False
        with _current_lock:
            if _current is not None:
                raise LumetraError("there is an engine in this process already")
            if _was_forked:
                raise LumetraError("the process was forked from one with an engine")
            self._library.initialize()
            _current = self
        try:
            if log is not None:
                self.on_log(log)
            if width is not None and height is not None:
                self.configure(width, height, format, flags, **options)
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> "Engine":
        return self

    def __exit__(self, *_exception: object) -> None:
        self.close()

    def close(self) -> None:
        """Removes the modules and ends the engine, after the calls under way. Harmless when it has ended."""
        global _current
        if _native.is_inside_handler():
            raise LumetraError("a handler cannot close the engine, which would wait for it")
        with self._closing:
            if self._has_ended:
                return
            with self._state:
                self._is_open = False
                self._state.wait_for(lambda: self._calls == 0)
            for module in reversed(self.modules):
                self._library.unregisterDllByID(module.id)
            with self._state:
                self._modules.clear()
            self._library.destroy()
            self._handed_out.clear()
            self._has_ended = True
            with _current_lock:
                _current = None
        _native.raise_interrupt()

    def configure(
        self,
        width: int,
        height: int,
        format: ImageFormat = ImageFormat.GRAY8,
        flags: ConversionFlags = ConversionFlags.GRAY,
        *,
        mip_map: bool = False,
        forward_native_image: bool = False,
        writable_path: Optional[str] = None,
    ) -> None:
        """Says what will be pushed and what becomes of it. Configure while no frames flow.

        mip_map: each frame is followed by its seven smaller levels.
        forward_native_image: the handler of on_host_text() sees JSON, with a picture of YUYV frames.
        writable_path: folder for the files of ConversionFlags.DEBUG_DUMP.

        Raises ValueError for a side below 1 and for frames beyond 31 bits, before anything has changed.
        """
        picture = _Picture(width, height, ImageFormat(format), mip_map)
        text: Dict[str, Any] = {
            "imageCfg": {"width": picture.width, "height": picture.height},
            "format": int(format),
            "conversionflags": int(flags),
            "mipMap": mip_map,
            "forwardNativeImage": forward_native_image,
        }
        if writable_path is not None:
            text["writablepath"] = writable_path
        self._send_configuration(_to_json(text))
        self._picture = picture

    def invalidate(self) -> None:
        """Refuses frames until the next configuration."""
        self._picture = None
        with self._call():
            self._library.command(_ENGINE_MODULE_ID, Command.INVALIDATE, _native.to_utf16(""))

    def push(self, pixels: Any, descriptor: Optional[Json] = None, frame_index: Optional[int] = None) -> None:
        """Hands one frame to the engine, which copies it before this returns. Push at most one a millisecond; far ahead
        of the engine this waits for up to 100 ms.

        pixels: an array of rows, columns and bytes of a pixel, with any strides (one that is not contiguous costs a
            copy more), or the bytes of a frame; with mip_map the frame's and the smaller levels', as bytes.
        descriptor: JSON that travels with the frame; by default {"timestampUs": now}.
        frame_index: the frame's number, by default counted from 0.

        Raises ValueError if that is not a frame as configured, LumetraError if the engine is closed or not configured.
        """
        picture = self._picture
        if picture is None:
            raise LumetraError("frames are refused until the engine is configured")
        data = picture.packed(pixels)
        number = next(self._numbers) if frame_index is None else _int32(frame_index, "a frame's number")
        if descriptor is None:
            descriptor = {"timestampUs": time.time_ns() // 1000}
        text = _native.to_utf16(_to_json(descriptor))
        with self._call():
            taken = self._library.pushImageData(data.ctypes.data, data.size, text, number)
        if taken != 1:
            raise LumetraError("the engine is not configured any more")

    def register_module(self, name: str, folder: Union[str, "os.PathLike[str]", None] = None) -> "Module":
        """Loads the module `name` from NAME.framework/NAME in `folder`, by default the one given to the engine.

        The loader starts from the process's working folder, which therefore changes for the time of this call unless
        the module is there. A module whose id is taken already replaces the older one.

        Raises ModuleError if it does not load or is loaded already; the log says why, lumetra-inspect says more.
        """
        text = _native.to_utf16(name)
        folder = self._folder_of(name) if folder is None else folder
        with self._call(), self._changing(name):
            if any(module.name == name for module in self.modules):
                raise ModuleError(f"{name} is loaded already")
            with _working_folder(folder):
                number = self._library.registerDllByName(text)
            if number == 0:
                raise ModuleError(f"{name}.framework/{name} cannot be opened in {folder or os.getcwd()}")
            if number < 1:
                raise ModuleError(f"{name} has no usable id: {number}")
            module = Module(self, name, number)
            with self._state:
                self._modules[number] = module
        return module

    @contextlib.contextmanager
    def _changing(self, name: str) -> Iterator[None]:
        """Around what loads or removes a module: one thread at a time, and others are refused."""
        with self._state:
            if name in self._names_in_work:
                raise ModuleError(f"{name} is being loaded or removed")
            self._names_in_work.add(name)
        try:
            yield
        finally:
            with self._state:
                self._names_in_work.discard(name)

    def _folder_of(self, name: str) -> Union[str, "os.PathLike[str]", None]:
        installed = os.path.join(os.path.dirname(self._library.path), "LumetraCore", "modules")
        if self._modules_folder is None and not os.path.exists(f"{name}.framework") and os.path.isdir(installed):
            return installed
        return self._modules_folder

    @property
    def modules(self) -> "List[Module]":
        """The modules that are loaded, first loaded first."""
        with self._state:
            return list(self._modules.values())

    def on_log(self, handler: Optional[LogHandler]) -> None:
        """Sends the engine's log to handler(level, text), or to standard output if that is None. The handler before may
        still be running when this returns. It must not call set_native_texture(), which logs with its record locked.
        """
        function = None if handler is None else _native.log_function(handler)
        self._register(_ENGINE_MODULE_ID, CallbackKind.LOG, function)

    def on_host_text(self, handler: Optional[HostTextHandler]) -> None:
        """Shows the descriptors of frames that modules push to `handler`, which returns those that travel with the
        frames; None counts as an empty one. A frame keeps its descriptor if the handler raises or returns what is no
        text."""
        function = None if handler is None else _native.host_text_function(handler)
        self._register(_ENGINE_MODULE_ID, CallbackKind.HOST_TEXT, function)

    def log(self, text: str) -> None:
        """Sends a text to the engine's log at level 0."""
        data = _native.to_utf16(text)
        with self._call():
            self._library.passLogFromNativeLib(data)

    def set_native_texture(self, handle: Optional[int], description: Json = "") -> None:
        """Records the host's texture, or forgets it. The handle is never dereferenced."""
        text = _native.to_utf16(_to_json(description))
        with self._call():
            self._library.setNativeTexturePointer(handle, text)

    def _send_configuration(self, text: str) -> None:
        data = _native.to_utf16(text)
        with self._call():
            done = self._library.command(_ENGINE_MODULE_ID, Command.CONFIGURE, data)
        if done != 1:
            raise LumetraError("the engine refuses the configuration")

    def _register(self, module_id: int, kind: int, function: Any, user: Optional[int] = None) -> int:
        """Hands a function out and keeps it; None unregisters the one before."""
        with self._call():
            if function is None:
                return int(self._library.unregisterCallback(module_id, kind))
            self._handed_out.append(function)
            return int(self._library.registerCallback(module_id, kind, _address_of(function), user))

    @contextlib.contextmanager
    def _call(self) -> Iterator[None]:
        """Around every call, so that the engine's end overlaps none."""
        with self._state:
            if not self._is_open:
                raise LumetraError("the engine is closed")
            self._calls += 1
        try:
            yield
        finally:
            with self._state:
                self._calls -= 1
                self._state.notify_all()
        _native.raise_interrupt()


class Module:
    """A loaded module, from Engine.register_module() to remove() or the engine's end."""

    def __init__(self, engine: Engine, name: str, number: int) -> None:
        self._engine = engine
        self.name = name  #: as it was registered
        self.id = number  #: as it reports

    def initialize(self, configuration: Json) -> None:
        """Hands a configuration to the module; its form is the module's own, usually JSON.

        Raises ModuleError if it takes none."""
        text = _native.to_utf16(_to_json(configuration))
        with self._call() as library:
            taken = library.initializeDllByID(self.id, text)
        if taken != 1:
            raise ModuleError(f"{self.name} takes no configuration")

    def command(self, number: int, text: Json = "") -> int:
        """Commands the module; returns its own result, 0 if it takes no commands."""
        data = _native.to_utf16(_to_json(text))
        with self._call() as library:
            return int(library.command(self.id, number, data))

    @property
    def status(self) -> int:
        """Status.READY when all is well, Status.UNAVAILABLE if it cannot tell, or a number of its own."""
        with self._call() as library:
            return int(library.getStatus(self.id))

    @property
    def supported_callbacks(self) -> List[int]:
        """The callback kinds that the module takes; empty if it cannot tell."""
        kinds = (ctypes.c_int32 * _SUPPORTED_KINDS_ROOM)()
        with self._call() as library:
            count = library.getSupportedCallbacks(self.id, ctypes.addressof(kinds))
        return list(kinds[: max(0, min(count, _SUPPORTED_KINDS_ROOM))])

    def on_log(self, handler: Optional[LogHandler]) -> None:
        """Sends the module's log to handler(level, text), or nowhere if that is None. In the handler this module's
        remove(), on_log() and others that register raise LumetraError: the module may be waiting for the handler."""
        function = None if handler is None else _native.log_function(handler, self.id)
        self.register_callback(CallbackKind.LOG, function)

    def on_result(self, handler: Optional[ResultHandler]) -> None:
        """Hands the module's results, JSON objects, to handler(result), or to nobody if that is None. The handler can
        neither register another nor remove the module, as with on_log().

        Raises ModuleError if its results have another form, or it has none (LumetraCore/TextResults.h)."""
        if self.command(_RESULT_FORM_COMMAND) != _TEXT_RESULTS:
            raise ModuleError(f"{self.name} has no results as texts")
        function = None if handler is None else _native.result_function(handler, self.id)
        self.register_callback(CallbackKind.TYPE2, function)

    def enable_push(self) -> None:
        """Gives the module the engine's push function, so that it can push frames of its own."""
        self.register_callback(CallbackKind.PUSH_NATIVE_IMAGE, 0)

    def register_callback(self, kind: int, function: Any, user: Optional[int] = None) -> None:
        """Hands a function to the module: a ctypes function, which is kept until the engine has ended, an address, or
        None to unregister the one before. `user` goes back to the function where its form takes one.

        Raises ModuleError if the module does not take it, LumetraError in a handler of this module."""
        self._refuse_own_handlers()
        with self._call():
            taken = self._engine._register(self.id, kind, function, user)
        if taken != 1:
            raise ModuleError(f"{self.name} does not take callbacks of kind {int(kind)}")

    def remove(self) -> None:
        """Removes the module; its library is closed once its last notification has returned.

        Raises LumetraError in a handler of this module, which would wait for it."""
        self._refuse_own_handlers()
        with self._engine._changing(self.name), self._call() as library:
            library.unregisterDllByID(self.id)
            with self._engine._state:
                self._engine._modules.pop(self.id, None)

    def _refuse_own_handlers(self) -> None:
        """A module that waits for its handler, as it may, would wait for this call: Tap would end the process."""
        if _native.is_inside_handler(self.id):
            raise LumetraError("a receiver cannot remove its own module")

    @contextlib.contextmanager
    def _call(self) -> Iterator[_native.Library]:
        with self._engine._call():
            with self._engine._state:
                is_loaded = self._engine._modules.get(self.id) is self
            if not is_loaded:
                raise ModuleError(f"{self.name} has been removed")
            yield self._engine._library


class _Picture:
    """The frames that are configured, and whether an array is one."""

    def __init__(self, width: int, height: int, image_format: ImageFormat, mip_map: bool) -> None:
        self.width, self.height = width, height = _int32(width, "a side"), _int32(height, "a side")
        if width < 1 or height < 1:
            raise ValueError(f"a picture of {width}x{height} pixels")
        levels = [picture_bytes(image_format, width >> k, height >> k) for k in range(8)]
        if levels[0] * 1.34 >= 2**31:
            raise ValueError("a frame with its levels has more than 31 bits of bytes")
        self._shape = (height, width, BYTES_PER_PIXEL.get(image_format, 0))
        self._size = sum(levels) if mip_map else levels[0]

    def packed(self, pixels: Any) -> "np.ndarray[Any, np.dtype[np.uint8]]":
        array = pixels if isinstance(pixels, np.ndarray) else np.frombuffer(pixels, np.uint8)
        if array.dtype != np.uint8:
            raise ValueError(f"pixels are bytes, not {array.dtype}")
        sides = array.shape + (1,) * (3 - array.ndim) if array.ndim == 2 else array.shape
        if array.size != self._size or (array.ndim > 1 and self._shape[2] > 0 and sides != self._shape):
            raise ValueError(f"a frame has {self._size} bytes, {self._shape} if not flat, not {array.shape}")
        return np.ascontiguousarray(array)


def device_info() -> Dict[str, Any]:
    """Describes the machine and the running program. Works without an engine."""
    return dict(json.loads(_native.device_text(_native.load_library().getDeviceInfo)))


def list_devices() -> Dict[str, Any]:
    """The capture devices with their picture sizes and frame rates. Works without an engine; opens every device."""
    return dict(json.loads(_native.device_text(_native.load_library().enumerateAVDevicesNative)))


def _int32(value: Any, what: str) -> int:
    """The value as a number of the interface. Raises ValueError if it is none."""
    try:
        number = operator.index(value)
    except TypeError:
        raise ValueError(f"{what} is a whole number, not {value!r}") from None
    if not -(2**31) <= number < 2**31:
        raise ValueError(f"{what} has 32 bits, too few for {number}")
    return number


def _to_json(value: Json) -> str:
    return value if isinstance(value, str) else json.dumps(value)


def _address_of(function: Any) -> Optional[int]:
    return function or None if isinstance(function, int) else _native.address_of(function)


@contextlib.contextmanager
def _working_folder(folder: Union[str, "os.PathLike[str]", None]) -> Iterator[None]:
    if folder is None:
        yield
        return
    with _working_folder_lock:
        try:
            before = os.getcwd()
            os.chdir(folder)
        except OSError as reason:
            raise ModuleError(f"no modules in {os.fspath(folder)}: {reason.strerror}") from reason
        try:
            yield
        finally:
            os.chdir(before)


def _forget() -> None:
    """In a child: threads that held these locks, or would answer, are the parent's."""
    global _current, _current_lock, _was_forked, _working_folder_lock
    _current_lock, _working_folder_lock = threading.Lock(), threading.RLock()
    if _current is None:
        return
    _current._state, _current._closing = threading.Condition(), threading.Lock()
    _current._is_open, _current._has_ended = False, True
    _current, _was_forked = None, True


os.register_at_fork(after_in_child=_forget)


@atexit.register
def _close_at_exit() -> None:
    """Native threads that called a handler later would find no interpreter."""
    if _current is not None:
        _current.close()
