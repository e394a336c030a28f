"""What the tests of the binding share. They run in the folder with the modules."""

import queue
import threading
import time

import pytest


def wait_until(condition):
    """Waits for a condition; a test that waits in vain is ended by ctest."""
    while not condition():
        time.sleep(0.002)


# A frame is dropped where the machine is too busy, so one that does not come is pushed again.
def push_until(push, condition):
    """Pushes until the condition holds."""
    while True:
        push()
        for _ in range(100):
            if condition():
                return
            time.sleep(0.002)


def push_for(push, frames):
    """Pushes until a frame comes, and returns it."""
    while True:
        push()
        try:
            return frames.get(timeout=0.2)
        except queue.Empty:
            pass


@pytest.fixture
def raised(monkeypatch):
    """What handlers raised, as threading.excepthook is told of it."""
    told = []
    monkeypatch.setattr(threading, "excepthook", lambda arguments: told.append(arguments.exc_value))
    return told
