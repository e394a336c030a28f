"""A whole host in Python: it pushes a moving bar and prints what the module FrameMonitor saw of it.

Usage: hello_host.py FOLDER-OF-MODULES
"""

import sys
import time

import numpy as np

from lumetracore import Command, Engine, ImageFormat

WIDTH, HEIGHT, BAR_WIDTH, FRAMES, FRAME_SECONDS = 320, 240, 40, 60, 0.016
REPORT = Command.MODULE_FIRST  # FrameMonitor's own command: a line of JSON to its log


def draw(frame: int) -> np.ndarray:
    """Rows of R, G, B, top row first."""
    pixels = np.empty((HEIGHT, WIDTH, 3), np.uint8)
    pixels[..., 0] = np.arange(WIDTH) * 255 // WIDTH
    pixels[..., 1] = (np.arange(HEIGHT) * 255 // HEIGHT)[:, np.newaxis]
    in_bar = (np.arange(WIDTH) - 4 * frame) % WIDTH < BAR_WIDTH
    pixels[:, in_bar, :2] = 255
    pixels[..., 2] = 64
    return pixels


def main() -> None:
    if len(sys.argv) != 2:
        sys.exit("usage: hello_host.py FOLDER-OF-MODULES")
    with Engine(
        WIDTH, HEIGHT, ImageFormat.RGB, modules=sys.argv[1], log=lambda _level, text: print(text, file=sys.stderr)
    ) as engine:
        monitor = engine.register_module("FrameMonitor")
        monitor.initialize({"histogram": False})
        monitor.on_log(lambda _level, text: print(text))
        for frame in range(FRAMES):  # as a camera would: a frame every 16 ms
            engine.push(draw(frame))
            time.sleep(FRAME_SECONDS)
        monitor.command(REPORT)
        monitor.remove()


if __name__ == "__main__":
    main()
