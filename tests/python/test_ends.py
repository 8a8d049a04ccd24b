"""How the interpreter ends with links that are open, and what opening and closing leaves behind."""

from __future__ import annotations

import ctypes
import gc
import os
import pathlib
import subprocess
import sys
import threading

import pytest
from conftest import PATIENCE, eventually

from hostlink import Client, Host

CYCLES = int(os.environ.get("HOSTLINK_CYCLES", "300"))

OPEN = """
import os, sys, threading, hostlink
host = hostlink.Host()
unhurried = {"deadline": 60, "answer_time": 60}
client = hostlink.Client(hostlink.Uart(host.path, response_timeout=60), **unhurried)
assert client.wait_until_up(60)
"""

ENDINGS = {
    "nothing closed": "client.get('PlayerVolume')",
    "subscribed": "client.subscribe(['PlayerVolume'], print); client.get('PlayerVolume')",
    "subscribed by one that asks": "client.subscribe(['PlayerVolume'], lambda _: client.get('MaxVolume'))",
    "a thread that asks": """
def ask():
    while True: client.get('PlayerVolume')
threading.Thread(target=ask, daemon=True).start()""",
    "threads that wait": """
changes, files = client.changes(['PlayerVolume']), client.receive_files()
threading.Thread(target=lambda: list(changes), daemon=True).start()
threading.Thread(target=lambda: list(files), daemon=True).start()""",
    "a request without an answer": """
silent = hostlink.Host(faults=hostlink.Faults(silent_every=1))
other = hostlink.Client(silent.path, deadline=600, wait_while_down=True)
def ask():
    begun.set()
    other.get('PlayerVolume')
begun = threading.Event()
threading.Thread(target=ask, daemon=True).start()
begun.wait()""",
    "a callback that takes its time": """
import time
begun = threading.Event()
def told(change):
    begun.set()
    time.sleep(600)
client.subscribe(['PlayerVolume'], told)
begun.wait()""",
    "a loop that is left": """
import asyncio
hosts = [hostlink.Host()]
async def body():
    other = hostlink.AsyncClient(hostlink.Uart(hosts[0].path, response_timeout=60), **unhurried)
    await other.get('PlayerVolume')
asyncio.run(body())""",
    "an exception": "raise SystemExit(0)",
}


@pytest.mark.parametrize("what", ENDINGS)
def test_the_interpreter_ends(what: str) -> None:
    done = subprocess.run(
        [sys.executable, "-B", "-c", OPEN + ENDINGS[what]], capture_output=True, text=True, timeout=PATIENCE, check=False
    )
    assert (done.returncode, done.stderr) == (0, "")


def held() -> tuple[int, int]:
    """Threads and descriptors, once the threads that are ending have ended."""
    eventually(lambda: not any(thread.name == "hostlink callbacks" for thread in threading.enumerate()))
    gc.collect()
    return len(os.listdir("/proc/self/task")), len(os.listdir("/proc/self/fd"))


def no_more_than(before: tuple[int, int]) -> None:
    """A thread that was joined stands in the list for a moment longer; one left behind by each cycle stays there."""

    def holds() -> bool:
        now = held()
        return now[0] <= before[0] and now[1] <= before[1]

    eventually(holds)


class Mallinfo(ctypes.Structure):
    """What glibc says of its memory."""

    NAMES = "arena ordblks smblks hblks hblkhd usmblks fsmblks uordblks fordblks keepcost"
    _fields_ = [(name, ctypes.c_size_t) for name in NAMES.split()]


def used_bytes() -> int:
    """That are allocated in the libraries, and by the interpreter."""
    library = ctypes.CDLL(None)
    library.mallinfo2.restype = Mallinfo
    told = library.mallinfo2()
    return int(told.uordblks + told.hblkhd) + sys.getallocatedblocks() * 64


def cycle(path: str, number: int) -> None:
    with Client(path) as client:
        if number % 10 == 0:  # mostly it is closed while it opens
            client.subscribe(["PlayerVolume"], lambda change: None)
            # The host may still wait for what the last one, which was closed, did not acknowledge.
            assert client.get("PlayerVolume", within=PATIENCE, wait_while_down=True) == 30


def test_opening_and_closing_leaves_nothing_behind(capfd: pytest.CaptureFixture[str]) -> None:
    with Host() as host:
        for number in range(100):
            cycle(host.path, number)
        before, used = held(), used_bytes()
        for number in range(CYCLES):
            cycle(host.path, number)
        no_more_than(before)
        grown = used_bytes() - used
    with capfd.disabled():
        print(f" [{CYCLES} cycles: {grown} bytes more]", end="")
    assert grown < 100000 + 20 * CYCLES  # nothing of a client is as small


def test_hosts_leave_nothing_behind(tmp_path: pathlib.Path) -> None:
    with Host():
        pass
    before = held()
    for _ in range(50):
        Host(link=tmp_path / "host")  # the last reference goes at once
    no_more_than(before)
    assert list(tmp_path.iterdir()) == []
