"""Frames seen from Python: the levels are the engine's own memory, for as long as somebody looks at them."""

import gc
import queue
import re
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
from conftest import push_for, push_until, wait_until
from lumetracore import CallbackKind, Command, ConversionFlags, Engine, ImageFormat, LumetraError, Tap

COUNT = 1003  # of FrameMonitor
SMILE = "\U0001f600"
RANDOM = np.random.default_rng(1)


@pytest.fixture(autouse=True)
def without_collector():
    """Frames go back as soon as nobody refers to them, not when the garbage collector finds them."""
    gc.disable()
    yield
    gc.enable()


def grey_of(picture, red, green, blue):
    channels = picture.astype(np.uint32)
    grey = 9798 * channels[..., red] + 19235 * channels[..., green] + 3736 * channels[..., blue]
    return np.minimum(grey >> 15, 255).astype(np.uint8)


RULES = {
    ImageFormat.RGB: (3, lambda picture: grey_of(picture, 0, 1, 2)),
    ImageFormat.BGR: (3, lambda picture: grey_of(picture, 2, 1, 0)),
    ImageFormat.BGRA: (4, lambda picture: grey_of(picture, 2, 1, 0)),
    ImageFormat.YUYV: (2, lambda picture: picture[..., 0]),
    ImageFormat.GRAY8: (1, lambda picture: picture[..., 0]),
}


@pytest.mark.parametrize("format", RULES)
@pytest.mark.parametrize("look", [lambda p: p, lambda p: p[::-1], lambda p: p[:, 5:-1]], ids=["whole", "turned", "cut"])
def test_sees_known_frames(format, look):
    depth, rule = RULES[format]
    picture = look(RANDOM.integers(0, 256, (18, 38, depth), np.uint8))
    height, width = picture.shape[:2]
    frame = frame_of(picture, Engine(width, height, format, ConversionFlags.GRAY))
    assert (frame.width, frame.height, frame.format) == (width, height, ImageFormat.GRAY8)
    assert (frame.frame_index, frame.descriptor) == (3, '{"a": 1}')
    np.testing.assert_array_equal(frame.pixels, rule(picture))
    assert frame.levels[1:] == [None] * 7


def test_sees_levels_and_frames_that_are_not_converted():
    levels = [RANDOM.integers(0, 256, (12 >> k, 20 >> k, 3), np.uint8) for k in range(8)]
    pixels = b"".join(level.tobytes() for level in levels)
    for flags, seen in [
        (ConversionFlags.GRAY | ConversionFlags.PYRAMID, [grey_of(level, 0, 1, 2) for level in levels]),
        (ConversionFlags.NONE, levels),
    ]:
        frame = frame_of(pixels, Engine(20, 12, ImageFormat.RGB, flags, mip_map=True))
        for level, expected in zip(frame.levels, seen):
            np.testing.assert_array_equal(np.empty(expected.shape) if level is None else level, expected)
        assert frame.levels[4:] == [None] * 4  # 1x0 and smaller
    planes = bytes(range(9 * 6 * 12 // 8))
    assert frame_of(planes, Engine(9, 6, ImageFormat.YUV420)).pixels.tobytes() == planes


def frame_of(picture, engine):
    frames = queue.SimpleQueue()
    with engine:
        Tap(engine, frames.put)
        return push_for(lambda: engine.push(picture, {"a": 1}, 3), frames)


def test_gives_a_slow_receiver_the_newest_frame():
    seen, go_on = queue.SimpleQueue(), threading.Event()

    def receive(frame):
        seen.put(frame)
        go_on.wait()

    with Engine(8, 4) as engine:
        tap = Tap(engine, receive)
        push_for(lambda: engine.push(bytes(32), frame_index=0), seen)
        for number in range(1, 9):
            before = tap.counts["skipped"] if number > 1 else 0
            push_until(lambda: engine.push(bytes(32), frame_index=number), lambda: tap.counts["skipped"] > before)
        go_on.set()
        frame = seen.get()
        assert frame.frame_index >= 7 and frame.skipped >= 7  # 8, but for a busy machine's late frames
        assert frame.id / 1000 == pytest.approx(time.time(), abs=60)


def test_keeps_arrays_after_the_engines_end():
    kept = []
    for value in range(4):  # the same buffers again, if they had been given back
        frames = queue.SimpleQueue()
        with Engine(640, 480) as engine:
            tap = Tap(engine, frames.put)
            for number in range(3):
                picture = np.full((480, 640), 16 * value + number, np.uint8)
                frame = push_for(lambda: engine.push(picture), frames)
                kept.append((int(picture[0, 0]), frame.pixels[::2]))  # a view of a view
            push_until(lambda: engine.push(picture), lambda: not frames.empty())  # one that nobody takes
            assert tap.counts["held"] > len(kept)
    del frame, frames, picture
    for value, array in kept:
        assert (value, value) == (array.min(), array.max())
        with pytest.raises(ValueError):
            array[0, 0] = 1  # other modules see these pixels
    del array
    kept.clear()
    with Engine(2, 1) as engine:
        assert Tap(engine, print).counts["held"] == 0


def test_goes_on_after_a_receiver_raised(raised):
    numbers = queue.SimpleQueue()

    def receive(frame):
        numbers.put(frame.frame_index)
        raise KeyError(frame)

    with Engine(2, 1) as engine:
        tap = Tap(engine, receive)
        for number in range(3):
            push_for(lambda: engine.push(b"ab", frame_index=number), numbers)
        wait_until(lambda: len(raised) >= 3)
        assert {type(value) for value in raised} == {KeyError}
        assert tap.counts["held"] >= 3  # an exception keeps its frame
        tap.module.register_callback(CallbackKind.TYPE2, None)
        raised.clear()
        wait_until(lambda: tap.counts["held"] == 0)


def test_refuses_a_receiver_that_removes_its_own_module(raised):
    with Engine(2, 1) as engine:
        tap = Tap(engine, lambda frame: refused())
        for call in [tap.remove, lambda: tap.module.register_callback(CallbackKind.TYPE2, None)]:
            refused = call
            raised.clear()
            push_until(lambda: engine.push(b"ab"), lambda: raised)
            assert type(raised[0]) is LumetraError
        refused = engine.register_module("FrameMonitor").remove  # another's it can
        push_until(lambda: engine.push(b"ab"), lambda: engine.modules == [tap.module])


def test_pauses_and_stops_calling():
    frames = queue.SimpleQueue()
    with Engine(2, 1) as engine:
        monitor = engine.register_module("FrameMonitor")
        tap = Tap(engine, frames.put)
        assert (tap.module.status, tap.module.supported_callbacks) == (1, [2])
        tap.pause()
        assert tap.module.status == 4
        push_until(lambda: engine.push(b"ab", frame_index=1), lambda: monitor.command(COUNT) >= 1)
        assert tap.counts["delivered"] == 0
        tap.resume()
        push_for(lambda: engine.push(b"ab", frame_index=2), frames)
        tap.remove()
        while not frames.empty():
            frames.get()
        push_until(lambda: engine.push(b"ab", frame_index=3), lambda: monitor.command(COUNT) >= 3)
        assert frames.empty()
        with pytest.raises(LumetraError):
            tap.pause()
        tap = Tap(engine, frames.put)
        tap.pause()
        tap.remove()
        assert Tap(engine, frames.put).module.status == 1  # although the library has stayed in memory


def test_exchanges_descriptors(raised):
    def fail(text):
        raise KeyError(text)

    seen = []
    for answer, expected in [
        (lambda text: seen.append(text) or '{"note":"' + SMILE + '"}', '{"note":"' + SMILE + '"}'),
        (lambda text: None, ""),
        (fail, '{"source":"CameraSource"'),
        (lambda text: "\ud83d", '{"source":"CameraSource"'),
        (lambda text: 5, '{"source":"CameraSource"'),
    ]:
        assert descriptor_after(answer).startswith(expected)
    assert seen[0].startswith('{"source":"CameraSource"')
    assert {type(value) for value in raised} == {KeyError, UnicodeEncodeError, TypeError}


def descriptor_after(answer):
    frames = []
    with Engine(32, 16, ImageFormat.YUYV) as engine:
        Tap(engine, frames.append)
        engine.on_host_text(answer)
        camera = engine.register_module("CameraSource")
        camera.enable_push()
        camera.initialize({"width": 32, "height": 16, "fps": 100})
        assert camera.command(Command.START) == 1
        wait_until(lambda: len(frames) >= 3)
    return frames[-1].descriptor


def test_plays_a_clip(tmp_path):
    clip = tmp_path / "clip.y4m"
    header = b"YUV4MPEG2 W5 H3 F50:1 Ip C420jpeg\n"
    frames = [b"FRAME\n" + bytes([40 + k] * 15) + bytes(2 * 3 * 2) for k in range(6)]
    clip.write_bytes(header + b"".join(frames))
    played = play(clip)
    assert played.returncode == 0, played.stderr
    assert "pushed 6," in played.stdout
    assert re.search(r"frame (\d): mean 4\1\.0, 4\1 to 4\1", played.stdout)
    for content, reason in [(clip.read_bytes()[:-1], "ends within a frame"), (b"RIFF", "no Y4M"),
                            (header.replace(b"jpeg", b"p10"), "cannot be played")]:
        clip.write_bytes(content)
        played = play(clip)
        assert played.returncode == 1 and reason in played.stderr


def play(clip):
    command = [sys.executable, "-m", "lumetracore", "--modules", ".", str(clip)]
    return subprocess.run(command, capture_output=True, text=True, timeout=60)
