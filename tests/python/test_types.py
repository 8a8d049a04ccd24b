"""What the package says of its types, and what it says of itself."""

from __future__ import annotations

import ast
import enum
import inspect
import pathlib
import subprocess
import sys

import pytest

import hostlink
from hostlink import _core

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
STUB = TOP / "python" / "hostlink" / "_core.pyi"


def test_mypy_finds_nothing(tmp_path: pathlib.Path) -> None:
    """In the package, its stub, and the examples. What it has found out about files that are as they were, the standard
    library's before all, it does not find out again."""
    pytest.importorskip("mypy")
    known = tmp_path.parent.with_name("mypy")  # beside the folder of this run, which the next one empties
    done = subprocess.run(
        [sys.executable, "-B", "-m", "mypy", "--strict", "--config-file", str(TOP / "tests" / "python" / "mypy.ini"),
         "--cache-dir", str(known), "hostlink", str(TOP / "examples" / "python")],
        capture_output=True, text=True, timeout=300, check=False, cwd=TOP / "python",
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_stub_names_what_the_compiled_part_has() -> None:
    def functions(body: list[ast.stmt]) -> set[str]:
        return {each.name for each in body if isinstance(each, (ast.FunctionDef, ast.ClassDef))}

    told = ast.parse(STUB.read_text())
    assert functions(told.body) == {name for name in dir(_core) if not name.startswith("_")}
    for each in told.body:
        if isinstance(each, ast.ClassDef):
            has = {name for name in dir(getattr(_core, each.name)) if not name.startswith("_")}
            assert functions(each.body) - {"__init__"} == has, each.name


def test_everything_public_is_described() -> None:
    for name in hostlink.__all__:
        what = getattr(hostlink, name)
        if not inspect.isclass(what) and not inspect.isfunction(what):
            continue
        assert inspect.getdoc(what), name
        if issubclass(what, enum.Enum) if inspect.isclass(what) else True:
            continue
        for method, function in vars(what).items():
            if not method.startswith("_") and (inspect.isfunction(function) or isinstance(function, property)):
                assert inspect.getdoc(function), f"{name}.{method}"


def test_enumerations_are_those_of_the_protocol() -> None:
    assert hostlink.State.PlayerVolume == 9
    assert hostlink.MessageId.TcpTunnelingResponse == 0x8009
    assert hostlink.Encoding.Nil == 192
    assert hostlink.PowerState.None_ == 0 and hostlink.PowerState.Online == 10
    assert hostlink.protocol.PlayerControlFlags(5) == (
        hostlink.protocol.PlayerControlFlags.Pause | hostlink.protocol.PlayerControlFlags.Next
    )
