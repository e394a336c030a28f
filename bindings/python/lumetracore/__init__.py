"""LumetraCore for hosts in Python: the engine and its modules.

    with lumetracore.Engine(640, 480, lumetracore.ImageFormat.RGB) as engine:
        engine.push(array)

The library is found as the loader finds libLumetraCore.so.0, or by load_library(path).
"""

from ._native import LumetraError, load_library
from .constants import CallbackKind, Command, ConversionFlags, ImageFormat, Status
from .engine import Engine, Module, ModuleError, device_info, list_devices
from .pixels import pack_pixels

__all__ = [
    "CallbackKind",
    "Command",
    "ConversionFlags",
    "Engine",
    "ImageFormat",
    "LumetraError",
    "Module",
    "ModuleError",
    "Status",
    "device_info",
    "list_devices",
    "load_library",
    "pack_pixels",
]
