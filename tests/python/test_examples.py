"""The programs in examples/python, as people run them."""

from __future__ import annotations

import asyncio
import copy
import os
import pathlib
import runpy
import subprocess
import sys
import threading
from typing import Any

import pytest
from conftest import PATIENCE
from test_transfers import DATA, chunks_of

import hostlink
from hostlink import Faults, Host

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent.parent / "examples" / "python"
UNHURRIED = pathlib.Path(__file__).resolve().parent / "unhurried"  # their clients have the times that are the package's own


def python(*words: object, **environment: str) -> subprocess.CompletedProcess[str]:
    """An interpreter of its own."""
    path = os.pathsep.join([str(UNHURRIED), os.environ["PYTHONPATH"]])
    return subprocess.run(
        [sys.executable, "-B", *map(str, words)],
        capture_output=True,
        text=True,
        timeout=PATIENCE,
        check=False,
        env={**os.environ, "PYTHONPATH": path, **environment},
    )


def run(program: str, *words: object, **environment: str) -> tuple[int, str]:
    done = python(EXAMPLES / program, *words, **environment)
    assert "Traceback" not in done.stderr, done.stderr
    return done.returncode, done.stdout


def test_sweep_state(hostlink_host: Host) -> None:
    code, printed = run("sweep_state.py", hostlink_host.path, "PlayerPlayStatus", 0, 4, 2)
    assert code == 0
    assert printed.splitlines() == [
        "PlayerPlayStatus      0 -> Stopped", "PlayerPlayStatus      2 -> Playing", "PlayerPlayStatus      4 -> 4",
    ]  # fmt: skip
    assert hostlink_host.get("PlayerPlayStatus") == 0


def test_soak_link(hostlink_host: Host) -> None:
    code, printed = run("soak_link.py", hostlink_host.path, 0.2)
    assert code == 0
    assert int(printed.split()[0]) > 0 and printed.split()[1] == "Done"
    assert "refusedPackets     0\n" in printed
    with Host(faults=Faults(nack_first=1)) as host:
        code, printed = run("soak_link.py", host.path, 0.2)
        assert f"refusedPackets     {host.counts()['faultNacks']}\n" in printed


def test_plot_response_times(hostlink_host: Host, tmp_path: pathlib.Path) -> None:
    pytest.importorskip("matplotlib")
    image = tmp_path / "times.png"
    assert run("plot_response_times.py", hostlink_host.path, image, 50, MPLCONFIGDIR=str(tmp_path))[0] == 0
    assert image.read_bytes().startswith(b"\x89PNG")
    assert hostlink_host.counts()["messagesReceived"] >= 50


def test_dump_transfer() -> None:
    over = threading.Event()
    with Host() as host:

        def send_until_taken() -> None:  # a message that nobody takes yet is lost
            while not over.is_set():
                host.send(*chunks_of("tones.bin", DATA[:400], 400))
                over.wait(0.1)

        thread = threading.Thread(target=send_until_taken)
        thread.start()
        code, printed = run("dump_transfer.py", host.path, 1)
        over.set()
        thread.join()
    lines = printed.splitlines()
    assert code == 0 and lines[0].startswith("tones.bin: Complete, 400 bytes, checksum ")
    assert lines[1] == "00000000  00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69  .....#*18?FMT[bi"
    assert len(lines) == 26


def test_test_port(hostlink_host: Host) -> None:
    words = ("-m", "pytest", "-q", "-p", "no:cacheprovider", EXAMPLES / "test_port.py")
    for done in (python(*words), python(*words, HOSTLINK_PORT=hostlink_host.path)):
        assert "5 passed" in done.stdout, done.stdout
    assert hostlink_host.get("PlayerVolume") == 100


def test_the_fixtures_that_are_shipped(tmp_path: pathlib.Path) -> None:
    """As the head of `hostlink.testing` has them."""
    (tmp_path / "conftest.py").write_text('pytest_plugins = ["hostlink.testing"]\n')
    (tmp_path / "test_volume.py").write_text(
        "import pytest\n"
        '@pytest.mark.hostlink(states={"PlayerVolume": 11})\n'
        "def test_volume(hostlink_host, hostlink_client):\n"
        '    assert hostlink_client.get("PlayerVolume") == 11\n'
        '    hostlink_client.set("PlayerVolume", 12, confirm=True)\n'
        '    assert hostlink_host.get("PlayerVolume") == 12\n'
    )
    done = python("-m", "pytest", "-q", "-p", "no:cacheprovider", tmp_path)
    assert done.returncode == 0 and "1 passed" in done.stdout, done.stdout + done.stderr


def test_the_page_says_what_is_so(monkeypatch: pytest.MonkeyPatch) -> None:
    for begins in (hostlink.Uart.__init__, hostlink.Client.__init__):
        for what in ("__defaults__", "__kwdefaults__"):
            monkeypatch.setattr(begins, what, copy.copy(getattr(begins, what)))  # which has it back afterwards
    runpy.run_path(str(UNHURRIED / "sitecustomize.py"))
    page = (EXAMPLES.parent.parent / "docs" / "python.md").read_text()
    blocks = [part.split("```")[0] for part in page.split("```python\n")[1:]]
    (host,) = [block for block in blocks if block.startswith("with hostlink.Host")]
    exec(compile(host, "docs/python.md", "exec"), {"hostlink": hostlink})
    with Host() as simulated:
        for block in blocks:
            source = block.replace("/dev/ttyS1", simulated.path).replace("print(change)", "break")
            names: dict[str, Any] = {"hostlink": hostlink}
            exec(compile(source, "docs/python.md", "exec"), names)
            if "main" in names:
                asyncio.run(names["main"]())


def test_each_is_short() -> None:
    programs = list(EXAMPLES.glob("*.py"))
    assert len(programs) == 5
    for program in programs:
        assert len(program.read_text().splitlines()) < 30, program
