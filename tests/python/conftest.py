"""What the tests share."""

from __future__ import annotations

import pathlib
import sys
import threading
import time
from collections.abc import Callable

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "system"))  # scripted_host

pytest_plugins = ["hostlink.testing"]

PATIENCE = 60.0  # seconds until something that does not come is given up; nothing here takes long by itself


def eventually(holds: Callable[[], object]) -> None:
    """Waits until it holds: for what nobody tells."""
    until = time.monotonic() + PATIENCE
    while not holds():
        assert time.monotonic() < until, "it has not come to hold"
        time.sleep(0.001)


class Gate(threading.Event):
    """An event that has to come."""

    def pass_through(self) -> None:
        assert self.wait(PATIENCE), "it has not come"
