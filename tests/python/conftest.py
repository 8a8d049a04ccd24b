"""What the tests share."""

from __future__ import annotations

import pathlib
import sys
import threading
import time
from collections.abc import Callable, Iterator
from typing import Any

import pytest

from hostlink import Client, Host, Uart

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "system"))  # scripted_host

pytest_plugins = ["hostlink.testing"]

PATIENCE = 100.0  # seconds until something that does not come is given up; nothing here takes long by itself

# A busy machine is no slow host: what a client is to have where a test is not about how long it waits.
UNHURRIED: dict[str, Any] = {"deadline": PATIENCE, "answer_time": PATIENCE, "refusal_time": PATIENCE}


def unhurried(path: str) -> Uart:
    """The wire to a host, with all the time to accept a packet."""
    return Uart(path, response_timeout=PATIENCE)


def patient(host: Host) -> Client:
    """A client of it that takes no pause of the machine for a failure."""
    return Client(unhurried(host.path), **UNHURRIED)


@pytest.fixture
def hostlink_client(hostlink_host: Host) -> Iterator[Client]:
    """In place of the one that is shipped."""
    with patient(hostlink_host) as client:
        assert client.wait_until_up(PATIENCE), client.link_text
        yield client


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
