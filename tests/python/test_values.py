"""Values: what they are, what they equal, what they refuse."""

from __future__ import annotations

import pytest

import hostlink
from hostlink import BadArgument, Encoding, PlayerPlayStatus, Value


@pytest.mark.parametrize(
    "number, encoding",
    [(0, Encoding.Uint8), (255, Encoding.Uint8), (256, Encoding.Uint16), (65536, Encoding.Uint32),
     (1 << 32, Encoding.Uint64), ((1 << 64) - 1, Encoding.Uint64), (-1, Encoding.Int8), (-129, Encoding.Int16),
     (-32769, Encoding.Int32), (-(1 << 63), Encoding.Int64)],
)  # fmt: skip
def test_a_number_takes_the_smallest_encoding(number: int, encoding: Encoding) -> None:
    assert Value(number).encoding is encoding
    assert Value(number).number == int(Value(number)) == number


@pytest.mark.parametrize("number", [1 << 64, -(1 << 63) - 1, 1 << 200])
def test_a_number_that_nothing_holds(number: int) -> None:
    with pytest.raises(BadArgument, match="does not fit 64 bits"):
        Value(number)


def test_a_number_that_its_encoding_does_not_hold() -> None:
    with pytest.raises(BadArgument, match="300 does not fit Uint8"):
        Value(300, Encoding.Uint8)
    with pytest.raises(BadArgument, match="not the encoding of a number"):
        Value(1, Encoding.Bin16)
    with pytest.raises(ValueError):
        Value("text", Encoding.Uint8)
    with pytest.raises(ValueError):
        Encoding(203)


def test_equal_is_what_means_the_same() -> None:
    assert Value(30, Encoding.Int32) == Value(30) == 30 and Value(30) != 31
    assert Value("Blü") == "Blü" == Value(b"Bl\xc3\xbc").text
    assert Value(None) == None  # noqa: E711
    assert Value(0) != None and Value(0) != "" and Value(None) != 0  # noqa: E711
    assert len({Value(30), Value(30, Encoding.Int64), 30}) == 1


def test_words() -> None:
    assert str(Value(30)) == "30" and str(Value("Blue")) == "Blue" and str(Value(None)) == "no value"
    assert Value(2).name("PlayerPlayStatus") == "Playing"
    assert Value(2).member("PlayerPlayStatus") is PlayerPlayStatus.Playing
    assert Value(99).member("PlayerPlayStatus") == 99
    assert repr(Value(30)) == "Value(30, Encoding.Uint8)"
    assert Value(b"\xff").text == "\udcff"  # no UTF-8: kept, and given back as it was
    assert Value("\udcff").bytes == b"\xff"


def test_a_value_of_another_kind() -> None:
    for wrong in (lambda: Value("x").number, lambda: Value(None).number, lambda: Value(3).text, lambda: Value(None).bytes):
        with pytest.raises(TypeError):
            wrong()


def test_errors_are_what_python_calls_them() -> None:
    assert issubclass(hostlink.Unanswered, TimeoutError)
    assert issubclass(hostlink.LinkDown, ConnectionError)
    assert issubclass(hostlink.BadArgument, ValueError)
