"""Values as they travel, with their encodings, and what may be given for one."""

from __future__ import annotations

from typing import Union

from . import _core
from .protocol import VALUES, Encoding, State

__all__ = ["StateLike", "Value", "ValueLike"]

#: A state: its enumerator, its number or its name ("PlayerVolume").
StateLike = Union[State, int, str]

Content = Union[int, bytes, None]


class Value:
    """One value in one of the encodings of the wire. Immutable.

    Equal are values that mean the same, in whatever encoding, and what they mean: `Value(30, Encoding.Int32) == 30`,
    `Value("Blue") == "Blue" == b"Blue"`, `Value(None) == None`.

    `content`: None, a number, bytes or text; text travels as UTF-8.
    `encoding`: of a number; without one the smallest that has room, unsigned unless it is negative.
    """

    __slots__ = ("_content", "_encoding")

    def __init__(self, content: int | bytes | str | None, encoding: Encoding | None = None) -> None:
        self._content: Content
        self._encoding: Encoding
        if isinstance(content, str):
            content = content.encode("utf-8", "surrogateescape")
        if isinstance(content, int):
            self._content = int(content)
            self._encoding = Encoding(_core.encoding_for(self._content, int(encoding or 0)))
            return
        if encoding not in (None, Encoding.Nil if content is None else Encoding.Bin16):
            raise ValueError(f"{content!r} has no place in {encoding!r}")
        self._content = None if content is None else bytes(content)
        self._encoding = Encoding.Nil if content is None else Encoding.Bin16

    @classmethod
    def of_pair(cls, pair: tuple[int, Content]) -> Value:
        """From an encoding's number and a content that go together, as the compiled part gives them."""
        value = cls.__new__(cls)
        value._encoding = Encoding(pair[0])
        value._content = pair[1]
        return value

    @property
    def pair(self) -> tuple[int, Content]:
        """The encoding's number and the content."""
        return int(self._encoding), self._content

    @property
    def encoding(self) -> Encoding:
        """How it travels."""
        return self._encoding

    @property
    def content(self) -> Content:
        """None, a number or bytes."""
        return self._content

    @property
    def is_nil(self) -> bool:
        """Whether the host has no value."""
        return self._content is None

    @property
    def number(self) -> int:
        """The number; TypeError when it is none."""
        if not isinstance(self._content, int):
            raise TypeError(f"{self!r} is not a number")
        return self._content

    @property
    def bytes(self) -> bytes:
        """Binary data; TypeError when it is none."""
        if not isinstance(self._content, bytes):
            raise TypeError(f"{self!r} is not binary")
        return self._content

    @property
    def text(self) -> str:
        """Binary data as text; what is no UTF-8 comes as surrogates. TypeError when it is not binary."""
        return self.bytes.decode("utf-8", "surrogateescape")

    def name(self, state: StateLike) -> str:
        """For people, with the name that the value has for this state: "Playing", else as `str()`."""
        return _core.print_value(_core.state_number(state), self.pair)

    def member(self, state: StateLike) -> int:
        """The number as a member of what enumerates the values of this state; the plain number where it has none."""
        known = VALUES.get(_core.state_number(state))
        try:
            return self.number if known is None else known(self.number)
        except ValueError:
            return self.number

    def __int__(self) -> int:
        return self.number

    def __index__(self) -> int:
        return self.number

    def __str__(self) -> str:
        if self._content is None:
            return "no value"
        return self.text if isinstance(self._content, bytes) else str(self._content)

    def __repr__(self) -> str:
        if isinstance(self._content, int):
            return f"Value({self._content}, Encoding.{self._encoding.name})"
        return f"Value({self._content!r})"

    def __eq__(self, other: object) -> bool:
        if isinstance(other, Value):
            return self._content == other._content
        if isinstance(other, str):
            return self._content == other.encode("utf-8", "surrogateescape")
        if other is None or isinstance(other, (int, bytes)):
            return self._content == other
        return NotImplemented

    def __hash__(self) -> int:
        return hash(self._content)


#: What may be given for a value. A text that names a value of the state ("Playing") is that value; for a state whose values
#: have names no other text is taken.
ValueLike = Union[Value, int, str, bytes, None]


def state_number(state: StateLike) -> int:
    """The number of a state; `BadArgument` when there is none of that name."""
    return _core.state_number(state)


def pair_for(state: int, value: ValueLike) -> tuple[int, Content]:
    """The encoding and content of what is given for the value of a state."""
    if isinstance(value, Value):
        return value.pair
    if isinstance(value, str) and state in VALUES:
        return _core.value_named(state, value)
    return Value(value).pair


def known_state(number: int) -> State | int:
    """The enumerator of a state, or its number where the vocabulary has none."""
    try:
        return State(number)
    except ValueError:
        return number
