"""The engine and modules from Python: what crosses the border and what must not."""

import json
import os
import pathlib
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
from conftest import push_until
from lumetracore import Engine, ImageFormat, LumetraError, ModuleError, Status, _native
from lumetracore import device_info, list_devices, pack_pixels

COUNT, REPORT = 1003, 1000  # of FrameMonitor
SMILE = "\U0001f600"
BAD_TEXTS = ["\ud83d", "a\ud83db", "\ude00\ud83d", "a\0b"]


def test_binds_every_exported_function():
    names = (pathlib.Path(__file__).parents[1] / "exported_names.txt").read_text().split()
    exported = {name[len("LumetraCore_"):] for name in names if name.startswith("LumetraCore_")}
    assert exported == set(_native._FUNCTIONS)


# An engine is there, so that a text that slips through ends the process.
@pytest.mark.parametrize("text", BAD_TEXTS)
def test_refuses_bad_texts_before_the_call(text):
    with Engine(2, 1) as engine:
        monitor = engine.register_module("FrameMonitor")
        for call in [
            engine.log,
            engine.register_module,
            monitor.initialize,
            lambda text: monitor.command(REPORT, text),
            lambda text: engine.push(b"ab", text),
            lambda text: engine.set_native_texture(None, text),
        ]:
            with pytest.raises(ValueError):
                call(text)
        with pytest.raises(TypeError):
            engine.log(b"bytes")


@pytest.mark.parametrize(
    "width, height, format, pixels",
    [
        (4, 2, ImageFormat.RGB, np.zeros((4, 2, 3), np.uint8)),  # the sides changed about
        (4, 2, ImageFormat.RGB, np.zeros((2, 4, 4), np.uint8)),
        (4, 2, ImageFormat.GRAY8, np.zeros((4, 2), np.uint8)),
        (4, 2, ImageFormat.GRAY8, np.zeros((2, 4), np.float32)),
        (4, 2, ImageFormat.GRAY8, np.zeros((2, 4), np.int8)),
        (4, 2, ImageFormat.YUV420, bytes(11)),
        (4, 2, ImageFormat.YUYV, bytes(17)),
    ],
)
def test_refuses_what_is_no_frame(width, height, format, pixels):
    with Engine(width, height, format) as engine:
        with pytest.raises(ValueError):
            engine.push(pixels)


def test_refuses_sizes_states_and_numbers():
    engine = Engine()
    with pytest.raises(LumetraError):
        Engine()
    for width, height in [(0, 1), (1, -1), (1.5, 1), (2**31, 1), (41000, 41000)]:  # the last throws at a push
        with pytest.raises(ValueError):
            engine.configure(width, height)
    with pytest.raises(LumetraError):
        engine.push(b"a")  # not configured
    engine.configure(1, 1)
    for number in (2**31, -(2**31) - 1, 1.5, np.int64(2**31)):
        with pytest.raises(ValueError):
            engine.push(b"a", frame_index=number)
    engine.configure(np.int64(1), np.uint8(1))
    for number in (2**31 - 1, np.int64(-(2**31))):
        engine.push(b"a", frame_index=number)
    engine.invalidate()
    with pytest.raises(LumetraError):
        engine.push(b"a")
    engine.close()
    engine.close()
    for call in [lambda: engine.log(""), lambda: engine.configure(1, 1), lambda: engine.register_module("Tap")]:
        with pytest.raises(LumetraError):
            call()
    with pytest.raises(ValueError):
        Engine(0, 0)
    Engine().close()  # one that failed is not in the way


def test_carries_texts_whole_to_the_log():
    lines = []
    with Engine(log=lambda level, text: lines.append((level, text))) as engine:
        for text in ["", "Grüße " + SMILE, "x" * 10000 + SMILE]:  # pages long
            lines.clear()
            engine.log(text)
            assert lines == [(0, text)]


def test_hands_what_log_handlers_raise_to_the_excepthook(raised):
    def fail(level, text):
        raise FormatError(text)

    class FormatError(Exception):
        pass

    with Engine(log=fail) as engine:
        raised.clear()
        engine.log("one")
        assert [type(value) for value in raised] == [FormatError]
        engine.on_log(lambda level, text: engine.close())
        raised.clear()
        engine.log("two")
        assert [type(value) for value in raised] == [LumetraError]
        lines = []
        engine.on_log(lambda level, text: lines.append(text))
        engine.log("still there")
        assert lines == ["still there"]
        engine.on_log(None)


def test_raises_an_interrupt_where_the_call_returns(raised):
    def interrupt(level, text):
        if text == "interrupt":
            raise KeyboardInterrupt

    with Engine(log=interrupt) as engine:
        with pytest.raises(KeyboardInterrupt):
            engine.log("interrupt")
        engine.log("once")
    assert [type(value) for value in raised] == [KeyboardInterrupt]


def test_forgets_the_engine_in_a_forked_child():
    program = """if True:
        import lumetracore as l, os, sys
        def forked(child):
            process = os.fork()
            if process == 0:
                child()
                sys.exit(7)
            return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
        def make():
            with l.Engine(2, 1) as engine:
                engine.push(b'ab')
        def refused():
            for call in [lambda: engine.push(b'ab'), l.Engine]:
                try:
                    call()
                    os._exit(1)
                except l.LumetraError:
                    engine.close()
        l.load_library()
        assert forked(make) == 7
        with l.Engine(2, 1) as engine:
            assert forked(refused) == 7
            engine.push(b'ab')"""
    ended = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert ended.returncode == 0, ended.stderr


def test_refuses_another_library():
    program = "import lumetracore as l, ctypes.util as u\ntry: l.load_library(u.find_library('c'))\n" \
        "except l.LumetraError: l.Engine().close()"
    ended = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert ended.returncode == 0, ended.stderr


def test_loads_commands_and_removes_modules(tmp_path):
    lines = []
    with Engine(16, 8, modules=".") as engine:
        for folder, name in [(None, "NoSuchModule"), (tmp_path, "FrameMonitor"), (tmp_path / "none", "FrameMonitor")]:
            with pytest.raises(ModuleError):
                engine.register_module(name, folder)
        monitor = engine.register_module("FrameMonitor")
        assert (monitor.id, monitor.status, monitor.supported_callbacks) == (101, 2, [1])
        with pytest.raises(ModuleError):
            engine.register_module("FrameMonitor")
        with pytest.raises(ModuleError):
            monitor.enable_push()
        monitor.initialize({"histogram": False})
        monitor.on_log(lambda level, text: lines.append(text))
        push_until(lambda: engine.push(bytes(16 * 8), frame_index=7), lambda: monitor.command(COUNT) >= 1)
        assert (monitor.command(COUNT, "7"), monitor.status) == (0, Status.READY)
        assert monitor.command(REPORT) == 1 and '"frame":7' in lines[0] and '"histogram"' not in lines[0]
        monitor.remove()
        for call in [monitor.remove, lambda: monitor.status, lambda: monitor.command(COUNT)]:
            with pytest.raises(ModuleError):
                call()
        engine.register_module("FrameMonitor")


def test_loads_a_module_in_a_log_handler_and_once_among_threads():
    def load(level, text):
        if "loaded successfully" in text and nested.acquire(blocking=False):
            engine.register_module("Tap", ".")

    def try_to_load():
        started.wait()
        try:
            loaded.append(engine.register_module("CameraSource", "."))
        except ModuleError:
            pass

    nested, loaded, started = threading.Semaphore(), [], threading.Barrier(4)
    with Engine() as engine:
        engine.on_log(load)
        monitor = engine.register_module("FrameMonitor", ".")
        assert [module.name for module in engine.modules] == ["Tap", "FrameMonitor"]
        threads = [threading.Thread(target=try_to_load) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert engine.modules[2:] == loaded and len(loaded) == 1
        assert monitor.status == 2


def test_reads_results(raised):
    folder = os.environ.get("LUMETRA_TEXT_MODULES", "")
    if not os.path.exists(os.path.join(folder, "TextOne.framework", "TextOne")):
        pytest.skip("the player's test module is not built")
    results = []
    with Engine() as engine:
        with pytest.raises(ModuleError):
            engine.register_module("Tap").on_result(results.append)  # it takes functions of another form
        module = engine.register_module("TextOne", folder)
        module.on_result(results.append)
        module.initialize("Grüße " + SMILE)
        assert module.command(1000, "hello") == 1
        assert results == [{"version": 1, "heard": "hello", "configured": "Grüße " + SMILE}]
        module.initialize('"')  # no JSON any more
        module.command(1000)
        with pytest.raises(ModuleError):
            module.on_result(None)  # it cannot unregister
        assert len(results) == 1 and [type(value) for value in raised] == [json.JSONDecodeError]


def test_ends_after_the_calls_under_way_and_refuses_later_ones():
    order = []

    def close():
        engine.close()
        order.append("closed")

    def hold_the_call(level, text):
        if text != "hold":
            return
        closing.start()
        with pytest.raises(LumetraError):
            while True:
                engine.invalidate()
        time.sleep(0.05)  # enough for an end that does not wait
        order.append("called")

    engine, closing = Engine(log=hold_the_call), threading.Thread(target=close)
    engine.log("hold")
    closing.join()
    assert order == ["called", "closed"]


def test_ends_while_threads_push():
    for _ in range(10):
        engine = Engine(64, 48, log=lambda level, text: None)
        refused, started = [], threading.Barrier(3)

        def push():
            started.wait()
            try:
                while True:
                    engine.push(bytes(64 * 48))
            except LumetraError as reason:
                refused.append(str(reason))

        threads = [threading.Thread(target=push) for _ in range(2)]
        for thread in threads:
            thread.start()
        started.wait()
        engine.close()
        for thread in threads:
            thread.join()
        assert refused == ["the engine is closed"] * 2


def test_ends_with_the_interpreter():
    program = "import lumetracore as l; e = l.Engine(log=print); e.log('here'); m = e.register_module('FrameMonitor')"
    ended = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert ended.returncode == 0, ended.stderr
    assert "0 here" in ended.stdout and "Unregistering FrameMonitor" in ended.stdout


def test_finds_modules_beside_the_library(tmp_path):
    library, installed = tmp_path / "libLumetraCore.so.0", tmp_path / "LumetraCore" / "modules"
    library.symlink_to(pathlib.Path("../lib/libLumetraCore.so.0").resolve())
    installed.parent.mkdir()
    installed.symlink_to(pathlib.Path.cwd())
    program = "import lumetracore as l; l.load_library('./libLumetraCore.so.0'); import os; os.chdir('/'); " \
        "l.Engine().register_module('FrameMonitor'); assert os.getcwd() == '/'"
    ended = subprocess.run([sys.executable, "-c", program], cwd=tmp_path, capture_output=True, text=True, timeout=60)
    assert ended.returncode == 0, ended.stderr


def test_reads_device_texts():
    assert device_info()["name"] != ""
    assert isinstance(list_devices()["videoInputDevices"], list)


PADDED = bytes([1, 2, 3, 4, 0xEE, 5, 6, 7, 8])  # nothing behind the last row


@pytest.mark.parametrize(
    "width, height, depth, stride, top, expected",
    [
        (4, 2, 1, 5, 0, [[1, 2, 3, 4], [5, 6, 7, 8]]),
        (4, 2, 1, -5, 5, [[5, 6, 7, 8], [1, 2, 3, 4]]),
        (2, 2, 2, 5, 0, [[[1, 2], [3, 4]], [[5, 6], [7, 8]]]),
        (1, 2, 3, 5, 0, [[[1, 2, 3]], [[5, 6, 7]]]),
        (3, 3, 1, None, 0, [[1, 2, 3], [4, 0xEE, 5], [6, 7, 8]]),
        (0, 2, 1, 5, 0, None),
        (4, 0, 1, 5, 0, None),
        (4, 2, 0, 5, 0, None),
        (4, 2, 1, 3, 0, None),
        (2, 2, 3, -5, 5, None),
        (4, 2, 1, 5, 1, None),
        (4, 2, 1, -5, 4, None),
        (4, 2, 1, 5, -1, None),
        (4, 3, 1, 5, 0, None),
    ],
)
def test_packs_padded_and_bottom_up_rows(width, height, depth, stride, top, expected):
    if expected is None:
        with pytest.raises(ValueError):
            pack_pixels(PADDED, width, height, depth, stride=stride, top=top)
        return
    packed = pack_pixels(PADDED, width, height, depth, stride=stride, top=top)
    assert packed.tolist() == expected and packed.flags.c_contiguous
