"""The exported functions as they are, and what crosses them: texts as UTF-16, callbacks as ctypes functions.

An exception must not cross the border in either direction. Texts are therefore checked before the call, and what
a handler raises goes to threading.excepthook, as that of a thread does. Every call gives up the interpreter's
lock, so that engine and modules may wait for handlers that run on other threads.
"""

from __future__ import annotations

import ctypes
import json
import os
import sys
import threading
from typing import Any, Callable, Dict, Optional, Sequence, Tuple, Union

import numpy as np

LOGFN = ctypes.CFUNCTYPE(None, ctypes.c_int32, ctypes.c_void_p)
TEXTRESULTFN = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p)
HOSTTEXTFN = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p)

_int, _pointer, _text = ctypes.c_int32, ctypes.c_void_p, ctypes.c_char_p
_FUNCTIONS = {  # without LumetraCore_: result and arguments
    "initialize": (None, []),
    "destroy": (None, []),
    "command": (_int, [_int, _int, _text]),
    "registerDllByName": (_int, [_text]),
    "initializeDllByName": (_int, [_text, _text]),
    "initializeDllByID": (_int, [_int, _text]),
    "unregisterDllByID": (_int, [_int]),
    "unregisterDllByName": (_int, [_text]),
    "registerCallback": (_int, [_int, _int, _pointer, _pointer]),
    "unregisterCallback": (_int, [_int, _int]),
    "getSupportedCallbacks": (_int, [_int, _pointer]),
    "getStatus": (_int, [_int]),
    "pushImageData": (_int, [_pointer, _int, _text, _int]),
    "setNativeTexturePointer": (_int, [_pointer, _text]),
    "passLogFromNativeLib": (None, [_text]),
    "getDeviceInfo": (None, [_pointer, _int]),
    "enumerateAVDevicesNative": (None, [_pointer, _int]),
}
DEVICE_TEXT_UNITS = 1048576  # the interface cannot say how many it needs

_UTF16 = "utf-16-le" if sys.byteorder == "little" else "utf-16-be"
_PAGE = 4096  # the smallest page of any system that the library runs on


class LumetraError(RuntimeError):
    """The engine, or a module, refused a call."""


class _Place(ctypes.Structure):
    """Dl_info of the loader."""

    _fields_ = [("file", ctypes.c_char_p), ("base", _pointer), ("name", ctypes.c_char_p), ("address", _pointer)]


class Library:
    """The loaded library; its functions go by their names without the prefix."""

    def __init__(self, loaded: ctypes.CDLL) -> None:
        for name, (result, arguments) in _FUNCTIONS.items():
            function = getattr(loaded, "LumetraCore_" + name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)
        place = _Place()
        ctypes.CDLL(None).dladdr(ctypes.c_void_p(address_of(self.initialize)), ctypes.byref(place))
        self.path = os.path.abspath(os.fsdecode(place.file or b""))  # before anybody changes the working folder

    def __getattr__(self, name: str) -> Callable[..., Any]:
        raise AttributeError(name)  # only said for readers of types: __init__ sets what there is


_loading = threading.Lock()
_library: Optional[Library] = None


def load_library(path: Union[str, "os.PathLike[str]", None] = None) -> Library:
    """Loads the library from `path`, or where the loader finds it. The first call counts: there is one library in a
    process, and the engine calls this by itself.

    Raises LumetraError if it cannot be loaded, or if another path was asked for after it was.
    """
    global _library
    names: Sequence[str] = ["libLumetraCore.so.0", "libLumetraCore.so"]
    if sys.platform == "darwin":
        names = ["LumetraCore.framework/LumetraCore"]
    with _loading:
        if _library is not None:
            if path is not None:
                raise LumetraError("the library is loaded already")
            return _library
        reasons = []
        for name in [os.fspath(path)] if path is not None else names:
            try:
                _library = Library(ctypes.CDLL(name))
                return _library
            except (OSError, AttributeError) as reason:  # no library, or another one
                reasons.append(str(reason))
    raise LumetraError("; ".join(reasons))


def to_utf16(text: str) -> bytes:
    """The text as the interface takes it. Raises ValueError for one that would be cut or refused there."""
    if not isinstance(text, str):
        raise TypeError(f"a text is wanted, not {type(text).__name__}")
    if "\0" in text:
        raise ValueError("the text has a 0 character, where the library would end it")
    return text.encode(_UTF16) + b"\0\0"  # half a surrogate pair is a UnicodeEncodeError, which is a ValueError


def text_at(address: Optional[int]) -> str:
    """The text that begins there; null is an empty one."""
    if not address:
        return ""
    # Page by page, since nothing says how long it is, and what lies on the page of a unit can be read.
    parts = []
    while True:
        units = (_PAGE - address % _PAGE) // 2
        part = ctypes.string_at(address, 2 * units)
        (ends,) = np.nonzero(np.frombuffer(part, np.uint16) == 0)
        if ends.size:
            parts.append(part[: 2 * int(ends[0])])
            return b"".join(parts).decode(_UTF16, "replace")
        parts.append(part)
        address += 2 * units


def device_text(write: Callable[[int, int], None]) -> str:
    """What a function writes to a buffer of the caller's."""
    buffer = (ctypes.c_uint16 * DEVICE_TEXT_UNITS)()
    write(ctypes.addressof(buffer), 0)
    return text_at(ctypes.addressof(buffer))


ENGINE = 0  # instead of a module's id
_inside = threading.local()  # owners: whose handlers the thread is running, outermost first; interrupted


def is_inside_handler(owner: Optional[int] = None) -> bool:
    """Whether this thread is running a handler, for which the engine's end would wait, or one of that module's."""
    owners = getattr(_inside, "owners", ())
    return len(owners) > 0 if owner is None else owner in owners


def call_handler(owner: int, handler: Callable[..., Any], *arguments: Any) -> Tuple[bool, Any]:
    """Calls a handler on behalf of native code, of the engine or a module. What it raises goes to threading.excepthook;
    a KeyboardInterrupt, which the user meant for the thread, is also raised where that comes back from native code.

    Returns whether it returned, and what.
    """
    before = getattr(_inside, "owners", ())
    _inside.owners = (*before, owner)
    try:
        return True, handler(*arguments)
    except BaseException as raised:  # there is nobody behind this who could take an exception
        if isinstance(raised, KeyboardInterrupt):
            _inside.interrupted = True
        report_exception()
        return False, None
    finally:
        _inside.owners = before


def raise_interrupt() -> None:
    """Raises the KeyboardInterrupt that a handler on this thread ended with. For the end of each native call."""
    if getattr(_inside, "interrupted", False):
        _inside.interrupted = False
        raise KeyboardInterrupt


def report_exception() -> None:
    """Hands the exception that is being handled to threading.excepthook."""
    try:
        threading.excepthook(threading.ExceptHookArgs((*sys.exc_info(), None)))
    except BaseException:
        pass  # the hook was told of a failure and failed


def log_function(handler: Callable[[int, str], Any], owner: int = ENGINE) -> Any:
    """A LUMETRA_LOGFN that calls `handler`."""

    def receive(level: int, text: Optional[int]) -> None:
        call_handler(owner, lambda: handler(level, text_at(text)))

    return LOGFN(receive)


def result_function(handler: Callable[[Any], Any], owner: int) -> Any:
    """A LUMETRA_TEXTRESULTFN that calls `handler` with what the JSON says."""

    def receive(_user: Optional[int], text: bytes) -> None:
        call_handler(owner, lambda: handler(json.loads(text)))

    return TEXTRESULTFN(receive)


def host_text_function(handler: Callable[[str], Optional[str]]) -> Any:
    """A LUMETRA_HOSTTEXTFN that asks `handler`."""
    # The engine copies a reply as soon as it has it, on the same thread, so one for each does. Not in a
    # threading.local: a thread of the engine's is a new one to Python at every call.
    replies: Dict[int, bytes] = {}

    def ask(descriptor: str) -> bytes:
        reply = handler(descriptor)
        return to_utf16("" if reply is None else reply)

    def answer(_unused: Optional[int], text: Optional[int]) -> Optional[int]:
        try:
            descriptor = text_at(text)
            answered, reply = call_handler(ENGINE, ask, descriptor)
            if not answered:
                reply = descriptor.encode(_UTF16) + b"\0\0"
            replies[threading.get_ident()] = reply
            return address_of(ctypes.c_char_p(reply))
        except BaseException:  # memory has run out, or Ctrl-C came outside the handler
            report_exception()
            return None

    return HOSTTEXTFN(answer)


def address_of(pointer: Any) -> Optional[int]:
    """The address in a ctypes function or pointer. ctypes.cast would leave a cycle that keeps the object until it is
    found by the garbage collector, and with it whatever it refers to."""
    return ctypes.c_void_p.from_buffer(pointer).value
