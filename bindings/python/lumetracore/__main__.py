"""Plays a clip through the engine and prints what a module sees of it.

    python3 -m lumetracore [--modules FOLDER] [--fps N] CLIP.y4m

CLIP is uncompressed video, as `ffmpeg -i clip.mp4 -pix_fmt yuv420p clip.y4m` writes it; `-` reads standard input. Its Y
planes are pushed as grey frames, which is the cheapest way for any camera that has such a plane.
"""

from __future__ import annotations

import argparse
import queue
import sys
import time
from typing import Any, BinaryIO, Iterator, List, NamedTuple, Optional

import numpy as np

from . import ConversionFlags, Engine, Frame, ImageFormat, LumetraError, Tap

_LAST_FRAME_SECONDS = 0.1  # as long as the engine keeps a frame
_CHROMA = {  # by the header's C: pixels across and down that share a chroma value
    "420": (2, 2),
    "420jpeg": (2, 2),
    "420mpeg2": (2, 2),
    "420paldv": (2, 2),
    "422": (2, 1),
    "444": (1, 1),
    "411": (4, 1),
    "mono": None,
}


class ClipError(Exception):
    """The file is no clip that can be played."""


class Header(NamedTuple):
    """What a clip says of its frames."""

    width: int
    height: int
    rate: float  #: frames a second
    chroma: int  #: bytes behind a frame's Y plane


def read_header(clip: BinaryIO) -> Header:
    """Reads the first line. Raises ClipError if it is none, or announces other pixels than 8-bit ones."""
    words = clip.readline(200).decode("ascii", "replace").split()
    if not words or words[0] != "YUV4MPEG2":
        raise ClipError("no Y4M file; ffmpeg -i CLIP -pix_fmt yuv420p CLIP.y4m makes one")
    values = {word[0]: word[1:] for word in words[1:]}
    try:
        width, height = int(values["W"]), int(values["H"])
        frames, seconds = (int(number) for number in values.get("F", "30:1").split(":"))
        sharing = _CHROMA[values.get("C", "420")]
        rate = frames / seconds
    except (KeyError, ValueError, ZeroDivisionError) as reason:
        raise ClipError(f"cannot be played: {' '.join(words)}") from reason
    chroma = 0 if sharing is None else 2 * -(-width // sharing[0]) * -(-height // sharing[1])
    return Header(width, height, rate if rate > 0 else 30.0, chroma)


def read_planes(clip: BinaryIO, header: Header) -> "Iterator[np.ndarray[Any, np.dtype[np.uint8]]]":
    """The Y plane of each frame."""
    size = header.width * header.height
    while clip.readline(200).startswith(b"FRAME"):
        plane = clip.read(size)
        if len(plane) < size or len(clip.read(header.chroma)) < header.chroma:
            raise ClipError("the file ends within a frame")
        yield np.frombuffer(plane, np.uint8).reshape(header.height, header.width)


def describe(frame: Frame) -> str:
    """A line about a frame, with figures by numpy."""
    pixels = frame.pixels
    age = time.time() * 1000 - frame.id
    return f"frame {frame.frame_index}: mean {pixels.mean():.1f}, {pixels.min()} to {pixels.max()}, {age:.0f} ms old"


def print_log(_level: int, text: str) -> None:
    """The engine's log."""
    print(text, file=sys.stderr)


def print_frames(frames: "queue.SimpleQueue[Frame]", until: float) -> None:
    """Prints what is delivered until that time."""
    while (left := until - time.monotonic()) > 0:
        try:
            print(describe(frames.get(timeout=left)))
        except queue.Empty:
            return


def play(clip: BinaryIO, modules: Optional[str], fps: Optional[float]) -> None:
    """Pushes the clip at its pace, prints each frame that is delivered, and counts them."""
    header = read_header(clip)
    interval = 1 / (fps or header.rate)
    frames: "queue.SimpleQueue[Frame]" = queue.SimpleQueue()
    size = header.width, header.height
    with Engine(*size, ImageFormat.GRAY8, ConversionFlags.GRAY, modules=modules, log=print_log) as engine:
        tap = Tap(engine, frames.put)
        pushed = 0
        due = time.monotonic()
        for plane in read_planes(clip, header):
            engine.push(plane)
            pushed += 1
            due += interval
            print_frames(frames, due)
        print_frames(frames, time.monotonic() + _LAST_FRAME_SECONDS)
        counts = tap.counts
    print(f"pushed {pushed}, delivered {counts['delivered']}, skipped {counts['skipped']}")


def positive(text: str) -> float:
    """A number above 0."""
    number = float(text)
    if not number > 0:
        raise ValueError
    return number


def main(arguments: Optional[List[str]] = None) -> int:
    """The program; returns its exit status."""
    parser = argparse.ArgumentParser(prog="python3 -m lumetracore", description="Plays a clip through LumetraCore.")
    parser.add_argument("clip", help="uncompressed video, CLIP.y4m; - is standard input")
    parser.add_argument("--modules", help="folder with Tap.framework, by default this one or that of installed modules")
    parser.add_argument("--fps", type=positive, help="frames a second, by default the clip's")
    options = parser.parse_args(arguments)
    try:
        with sys.stdin.buffer if options.clip == "-" else open(options.clip, "rb") as clip:
            play(clip, options.modules, options.fps)
    except (ClipError, LumetraError, OSError) as reason:
        print(f"{options.clip}: {reason}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
