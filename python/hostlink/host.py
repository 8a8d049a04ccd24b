"""A host without a device: the simulator's engine in this process, behind a pseudo terminal."""

from __future__ import annotations

import json
import os
from collections.abc import Mapping
from dataclasses import dataclass
from types import TracebackType
from typing import Any

from . import _core, _open
from .codec import decode, encode
from .protocol import MessageId
from .values import StateLike, Value, ValueLike
from .wire import milliseconds

__all__ = ["Faults", "Host", "Record"]


@dataclass(frozen=True)
class Faults:
    """How a host misbehaves; "every n" are packets n, 2n, 3n, …, 0 is never. Rates are probabilities for each byte."""

    silent_every: int = 0  #: does not answer every nth packet
    ack_nack_every: int = 0  #: answers every nth packet with both ack and nack: an error
    neither_every: int = 0  #: answers every nth packet with neither
    nack_first: int = 0  #: refuses the first n attempts of each packet
    late_every: int = 0  #: answers every nth packet `late_by` seconds late
    late_by: float = 0
    repeat_every: int = 0  #: sends every nth packet a second time
    burst: int = 0  #: sends so many events nobody asked for when a message comes in
    garbage_every: int = 0  #: puts random bytes before every nth packet
    garbage_bytes: int = 8
    split_writes: bool = False  #: writes each byte by itself
    drop_rate_to_module: float = 0
    corrupt_rate_to_module: float = 0
    insert_rate_to_module: float = 0
    repeat_rate_to_module: float = 0
    drop_rate_to_host: float = 0
    corrupt_rate_to_host: float = 0
    insert_rate_to_host: float = 0
    repeat_rate_to_host: float = 0
    limit: int | None = None  #: injects no more than so many faults, then behaves well
    seed: int = 1  #: the same seed gives the same faults


@dataclass(frozen=True)
class Record:
    """What a host has seen or sent: "PacketReceived", "PacketSent", "MessageReceived", "MessageSent" (and
    acknowledged), "BadBytesReceived"."""

    event: str
    data: bytes


class Host:
    """Plays the host micro-controller: acknowledges packets, answers messages, misbehaves on request.

        with Host(states={"PlayerVolume": 12}) as host, Client(host.path) as client:
            assert client.get("PlayerVolume") == 12

    It lives on a thread of its own, which needs nothing of the interpreter. Any thread may call.

    `states`: what it holds from the start, besides what a host holds after power on.
    `faults`: how it misbehaves.
    `max_packet_size`: bytes of the longest packet that it sends.
    `response_timeout`: seconds that the module may take to acknowledge a packet.
    `baud`: bits per second to which the line is slowed down; 0: as fast as it can.
    `link`: path of a symbolic link to the terminal, removed at the end.
    `record`: how many records are kept, the newest, for `records()`.
    """

    def __init__(
        self,
        *,
        states: Mapping[Any, ValueLike] | None = None,
        faults: Faults | None = None,
        max_packet_size: int = 64,
        response_timeout: float = 1.0,
        baud: int = 0,
        link: str | os.PathLike[str] = "",
        record: int = 0,
    ) -> None:
        if not 11 <= max_packet_size <= 65535:
            raise ValueError(f"packets have 11 to 65535 bytes, not {max_packet_size}")
        chosen = faults or Faults()
        wanted: dict[str, object] = {**vars(chosen), "late_by": round(chosen.late_by * 1000000)}
        settings: dict[str, object] = {
            "max_packet_size": max_packet_size,
            "response_timeout": milliseconds(response_timeout) * 1000,
            "baud": baud,
            "link": os.fspath(link),
            "record": record,
        }
        held = encode(MessageId.SetState, states or {})
        self._core = _core.Host(settings, wanted, held)
        self._path = self._core.path()
        self._shut = _open.remember(self, self._core.close)

    def _leave(self) -> None:
        _core.leak(self._core)

    @property
    def path(self) -> str:
        """The path of the serial port that leads to it."""
        return self._path

    def set(self, state: StateLike, value: ValueLike) -> None:
        """The host changes a state by itself, and tells the module when that is subscribed to it."""
        self.set_many({state: value})

    def set_many(self, values: Mapping[Any, ValueLike]) -> None:
        """Several of them, one after another."""
        self._core.set(encode(MessageId.SetState, values))

    def get(self, state: StateLike) -> Value:
        """What the host holds; `Value(None)` when it has no value."""
        return decode(self._core.get(_core.state_number(state))).items[0].value

    def press(self, button: int) -> None:
        """Somebody presses and releases a button."""
        self._core.press(button)

    def burst(self, count: int) -> None:
        """Sends so many events nobody asked for."""
        self._core.burst(count)

    def send(self, *messages: bytes) -> None:
        """Queues messages of the host's own, one after another."""
        self._core.send(list(messages))

    def is_idle(self) -> bool:
        """Whether it has nothing to send and waits for no acknowledgement."""
        return self._core.is_idle()

    def counts(self) -> dict[str, int]:
        """What it has seen and done: `packetsReceived`, `nacksSent`, `faults`, …"""
        counted: dict[str, int] = json.loads(self._core.counts())
        return counted

    def records(self) -> list[Record]:
        """What has been recorded since the last call."""
        return [Record(event, data) for event, data in self._core.records()]

    def close(self) -> None:
        """The host goes, and its terminal with it: as if it were unplugged."""
        self._shut()

    def __enter__(self) -> Host:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()
