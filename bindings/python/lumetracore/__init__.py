"""LumetraCore for hosts in Python: the engine, its modules, and frames as arrays.

    with lumetracore.Engine(640, 480, lumetracore.ImageFormat.RGB) as engine:
        tap = lumetracore.Tap(engine, lambda frame: print(frame, frame.pixels.mean()))
        engine.push(array)

The library is found as the loader finds libLumetraCore.so.0, or by load_library(path). `python3 -m lumetracore
clip.y4m` is an example that plays a clip.
"""

from ._native import LumetraError, load_library
from .constants import CallbackKind, Command, ConversionFlags, ImageFormat, Status
from .engine import Engine, Module, ModuleError, device_info, list_devices
from .pixels import pack_pixels
from .tap import Frame, Tap

__all__ = [
    "CallbackKind",
    "Command",
    "ConversionFlags",
    "Engine",
    "Frame",
    "ImageFormat",
    "LumetraError",
    "Module",
    "ModuleError",
    "Status",
    "Tap",
    "device_info",
    "list_devices",
    "load_library",
    "pack_pixels",
]
