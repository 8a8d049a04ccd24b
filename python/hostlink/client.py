"""A host that can be asked."""

from __future__ import annotations

import json
import os
import weakref
from collections.abc import Callable, Iterable, Mapping
from dataclasses import dataclass
from enum import IntEnum
from types import TracebackType
from typing import Any, Union

from . import _calls, _core, _open
from .changes import Change, Changes
from .errors import HostlinkError
from .protocol import ButtonState, LedApiCmd, MessageId
from .transfers import FileSent, Progress, Receiving, Sending, Tunnel
from .values import StateLike, Value, ValueLike, known_state, pair_for, state_number
from .wire import WireLike, milliseconds, wire_of

__all__ = ["Client", "InputEvent", "LinkState", "Listening", "Subscription"]

#: Values by states (`StateLike`).
Values = Mapping[Any, ValueLike]
_Handle = Union[_core.Subscription, _core.Listening]


class LinkState(IntEnum):
    """Whether the host can be reached."""

    Opening = 0  # for the first time; requests wait
    Up = 1  # the host answers
    Down = 2  # no link; a new one is being made, again and again
    Closed = 3  # `close()` was called


@dataclass(frozen=True)
class InputEvent:
    """A key on the module or on the host."""

    event: ButtonState | int
    key: Value


class Listening:
    """Listens until `end()`, the end of a `with` block, or the client's. It keeps its client, and the client keeps it:
    not holding it ends nothing."""

    def __init__(self, client: Client, call: _calls.Told) -> None:
        self._client = client
        self._call = call
        self._key = client._calls.add(call)

    def _told_by(self, handle: _Handle) -> None:
        # Where the client has it, so that it lives as long as that.
        self._call.handle = handle

    def end(self) -> None:
        """Ends it. Waits until its function does not run, unless that is what calls this."""
        self._client._calls.remove(self._key)
        if self._call.handle is not None:
            self._call.handle.end()
        self._call.end()

    def __enter__(self) -> Listening:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.end()


class Subscription(Listening):
    """States whose changes are told."""

    @property
    def _handle(self) -> _core.Subscription:
        assert isinstance(self._call.handle, _core.Subscription)
        return self._call.handle

    def established(self, within: float = 3.0) -> None:
        """Waits until the host has confirmed all states. Raises `Unsupported`, `LinkDown`, `Unanswered` (not by then; it
        is asked again), `BadArgument`, `Cancelled`."""
        self._handle.established(milliseconds(within))

    def last(self, state: StateLike) -> Value | None:
        """The value that the host told last; None when there was none yet."""
        pair = self._handle.last(state)
        return None if pair is None else Value.of_pair(pair)

    def missed(self) -> int:
        """How many changes were dropped because they were not taken in time."""
        return self._handle.missed()

    def __enter__(self) -> Subscription:
        return self


class _Changes(Changes):
    """Changes of a client's subscription."""

    def __init__(self, client: Client, states: Iterable[StateLike], keep: int | None) -> None:
        super().__init__(keep)
        self.subscription = client.subscribe(states, self.put, None if keep is None else max(keep, 256))
        self.on_end = self.subscription.end


def how(within: float | None, wait_while_down: bool | None, confirm: bool = False) -> dict[str, object]:
    """How a request is made; what is not said is as the client has it."""
    said: dict[str, object] = {}
    if within is not None:
        said["within"] = milliseconds(within)
    if wait_while_down is not None:
        said["wait_while_down"] = wait_while_down
    if confirm:
        said["confirm"] = True
    return said


def states_list(states: Iterable[StateLike]) -> list[StateLike]:
    """Of one state alone, that one: not the letters of its name."""
    return [states] if isinstance(states, str) else list(states)


def numbered(values: Values) -> list[tuple[int, tuple[int, int | bytes | None]]]:
    """States and values as the compiled part takes them."""
    known = [(state_number(state), value) for state, value in values.items()]
    return [(state, pair_for(state, value)) for state, value in known]


def _shut(core: _core.Client, inbox: _core.Inbox) -> None:
    core.close()
    inbox.stop()


class Client:
    """Talks to one host over one wire: opens the link, asks, keeps what the host is subscribed for, makes a link that is
    lost anew.

    Any thread may call, functions that it calls too. A call that waits lets other threads of the interpreter run; it does
    not see Ctrl-C before it ends, within its time. What went wrong is raised: `hostlink.errors`. Times are in seconds.

    Functions given to it are called one after another, on a thread named "hostlink callbacks"; what they raise goes to
    `sys.unraisablehook`. Closed by `close()`, the end of a `with` block, when nobody holds it any more, and when the
    interpreter ends. The library's log lines go to the logger "hostlink".

    `deadline`: how long a request may take, everything included.
    `answer_time`: how long the host may take to answer once it has the message.
    `late_for`: how long after that an answer may still come, which is dropped.
    `refusal_time`: how long `set_led` waits for a host to say that it does not support it.
    `sendings`: how often a request is sent at most that can be repeated without harm.
    `wait_while_down`: whether requests wait while there is no link, or raise `LinkDown`.
    `first_pause`, `longest_pause`: between attempts to make a link.
    `unanswered_writes`: after so many messages that the host does not accept, a new link is made.
    `probe`: the state that a new host is asked for, to see whether it is there.
    """

    def __init__(
        self,
        wire: WireLike,
        *,
        deadline: float | None = None,
        answer_time: float | None = None,
        late_for: float | None = None,
        refusal_time: float | None = None,
        sendings: int | None = None,
        wait_while_down: bool | None = None,
        first_pause: float | None = None,
        longest_pause: float | None = None,
        unanswered_writes: int | None = None,
        probe: StateLike | None = None,
    ) -> None:
        times = {
            "deadline": deadline,
            "answer_time": answer_time,
            "late_for": late_for,
            "refusal_time": refusal_time,
            "first_pause": first_pause,
            "longest_pause": longest_pause,
        }
        others = {
            "sendings": sendings,
            "wait_while_down": wait_while_down,
            "unanswered_writes": unanswered_writes,
            "probe": probe,
        }
        options: dict[str, object] = {name: milliseconds(time) for name, time in times.items() if time is not None}
        options.update((name, value) for name, value in others.items() if value is not None)
        inbox = _core.Inbox()
        self._calls = _calls.Calls()
        # Who must be told when it is closed, by their ids. Changed and read by single operations, as its calls are.
        self._waiting: weakref.WeakValueDictionary[int, Changes | Receiving] = weakref.WeakValueDictionary()
        self._core = _core.Client(inbox, *wire_of(wire).settings(), options)
        self._shut = _open.remember(self, _shut, self._core, inbox)
        self._thread = _calls.start(inbox, self._calls)

    def _leave(self) -> None:
        _core.leak(self._core)
        self._core.abandon()

    # ---- Requests

    def get(self, state: StateLike, *, within: float | None = None, wait_while_down: bool | None = None) -> Value:
        """The value of a state; `Value(None)` when the host has none for it."""
        return next(iter(self.get_many([state], within=within, wait_while_down=wait_while_down).values()))

    def get_many(
        self, states: Iterable[StateLike], *, within: float | None = None, wait_while_down: bool | None = None
    ) -> dict[int, Value]:
        """The values of states, by their numbers, in the order in which they are asked for; from one message."""
        told = self._core.get(states_list(states), how(within, wait_while_down))
        return {state: Value.of_pair(pair) for state, pair in told}

    def set(
        self,
        state: StateLike,
        value: ValueLike,
        *,
        confirm: bool = False,
        within: float | None = None,
        wait_while_down: bool | None = None,
    ) -> None:
        """Sets a state; returns when the host answers that it holds the value.

        A packet carries no checksum: with `confirm` the state is read back and, within the time, set again until the
        host holds the value.
        """
        self.set_many({state: value}, confirm=confirm, within=within, wait_while_down=wait_while_down)

    def set_many(
        self,
        values: Values,
        *,
        confirm: bool = False,
        within: float | None = None,
        wait_while_down: bool | None = None,
    ) -> None:
        """Sets several states by one message."""
        self._core.set(numbered(values), how(within, wait_while_down, confirm))

    def send_input_event(self, event: ButtonState, key: int, *, within: float | None = None) -> None:
        """Tells the host of a key; returns when the host has taken the message."""
        self._core.send_input_event(event, Value(key).pair, how(within, None))

    def set_led(self, command: LedApiCmd, value: int | bytes | Value, *, within: float | None = None) -> None:
        """Sends a command for the host's LEDs."""
        pair = value.pair if isinstance(value, Value) else Value(value).pair
        self._core.set_led(command, pair, how(within, None))

    def ask(self, message: bytes, *, within: float | None = None) -> bytes:
        """Sends the bytes of any message that has an answer, once, and gives the bytes of the answer."""
        return self._core.ask(message, how(within, None))

    def send(self, message: bytes, *, within: float | None = None) -> None:
        """Sends the bytes of any message; returns when the host has taken it."""
        self._core.send(message, how(within, None))

    def begin_get(
        self, states: Iterable[StateLike], how: dict[str, object], done: Callable[[HostlinkError | None, Any], object]
    ) -> None:
        """For `AsyncClient`: begins to ask; `done` is called with the error, or None and pairs."""
        self._core.begin_get(self._calls.add(_calls.Awaited(done)), states_list(states), how)
        self._drop_if_closed()

    def begin_set(
        self, values: Values, how: dict[str, object], done: Callable[[HostlinkError | None, Any], object]
    ) -> None:
        """For `AsyncClient`: begins to set."""
        given = numbered(values)
        self._core.begin_set(self._calls.add(_calls.Awaited(done)), given, how)
        self._drop_if_closed()

    def _drop_if_closed(self) -> None:
        # A closed client tells nothing any more, and close() may have come between.
        if self.link is LinkState.Closed:
            self._calls.drop()

    def _waits(self, who: Changes | Receiving) -> None:
        self._waiting[id(who)] = who
        if self.link is LinkState.Closed:
            who.close()

    # ---- Being told

    def subscribe(
        self, states: Iterable[StateLike], told: Callable[[Change], object], keep: int | None = 256
    ) -> Subscription:
        """Calls `told` with the value that each state holds and with each change, in order.

        `keep`: how many changes wait for a function that is slower than the host, the newest of them; None: the latest
        of each state. After a new link the states are read again, and told when they have changed.
        """

        def tell(what: tuple[int, tuple[int, int | bytes | None], bool, int]) -> None:
            number, pair, was_read, missed = what
            told(Change(known_state(number), Value.of_pair(pair), was_read, missed))

        listening = Subscription(self, _calls.Told(tell))
        listening._told_by(self._core.subscribe(listening._key, states_list(states), 0 if keep is None else keep))
        return listening

    def changes(self, states: Iterable[StateLike], keep: int | None = 256) -> Changes:
        """The same to loop over: `for change in host.changes(["PlayerVolume"])`, and `async for`."""
        changes = _Changes(self, states, keep)
        self._waits(changes)
        return changes

    def on_input_event(self, told: Callable[[InputEvent], object]) -> Listening:
        """Calls `told` with keys of the host."""

        def tell(what: tuple[int, tuple[int, int | bytes | None]]) -> None:
            number, pair = what
            told(InputEvent(ButtonState(number) if number in set(ButtonState) else number, Value.of_pair(pair)))

        listening = Listening(self, _calls.Told(tell))
        listening._told_by(self._core.on_input_event(listening._key))
        return listening

    def on_message(self, id: MessageId | int, told: Callable[[bytes], object]) -> Listening:
        """Calls `told` with messages of this id that answer nothing."""
        listening = Listening(self, _calls.Told(told))
        listening._told_by(self._core.on_message(listening._key, id))
        return listening

    def on_link(self, told: Callable[[LinkState, str], object]) -> Listening:
        """Calls `told` with the link's state and a text that says why, now and whenever it changes."""
        listening = Listening(self, _calls.Told(lambda what: told(LinkState(what[0]), what[1])))
        listening._told_by(self._core.on_link(listening._key))
        return listening

    # ---- Files and connections

    def begin_sending(
        self,
        what: str | os.PathLike[str] | bytes,
        *,
        name: str = "",
        chunk: int = 0,
        answer_time: float = 1.0,
        patience: float = 30.0,
        restarts: int = 3,
    ) -> Sending:
        """Sends a file, or bytes, which need a name; does not wait."""
        options: dict[str, object] = {
            "name": name,
            "chunk": chunk,
            "answer_time": milliseconds(answer_time),
            "patience": milliseconds(patience),
            "restarts": restarts,
        }
        if isinstance(what, bytes):
            return Sending(self, self._core.begin_sending_bytes(what, options))
        return Sending(self, self._core.begin_sending(os.fspath(what), options))

    def send_file(
        self,
        what: str | os.PathLike[str] | bytes,
        *,
        progress: Callable[[Progress], object] | None = None,
        name: str = "",
        chunk: int = 0,
        answer_time: float = 1.0,
        patience: float = 30.0,
        restarts: int = 3,
    ) -> FileSent:
        """Sends a file, or bytes, and waits until the host says that it holds it: as many bytes, the same checksum.

        `progress` is called by the calling thread, some times a second. What raises ends the transfer, Ctrl-C too.
        """
        sending = self.begin_sending(
            what, name=name, chunk=chunk, answer_time=answer_time, patience=patience, restarts=restarts
        )
        return sending.wait(progress)

    def receive_files(self, *, limit: int = 64 << 20, patience: float = 30.0) -> Receiving:
        """Takes files that the host sends, until `end()`; loop over what this returns.

        `limit`: bytes of the longest file that is taken; they are kept in memory.
        `patience`: how long the host may take from chunk to chunk.
        """
        receiving = Receiving(self, self._core.receive(limit, milliseconds(patience)))
        self._waits(receiving)
        return receiving

    def tunnel(
        self, *, address: str = "127.0.0.1", port: int = 0, connections: int = 32, patience: float = 30.0
    ) -> Tunnel:
        """Listens for TCP connections and carries them over the wire, until `end()`."""
        settings: dict[str, object] = {
            "address": address,
            "port": port,
            "connections": connections,
            "patience": milliseconds(patience),
        }
        return Tunnel(self, self._core.tunnel(settings))

    # ---- The link

    def statistics(self) -> dict[str, Any]:
        """What has been counted so far, by the names of the library's `Statistics`; spans in microseconds."""
        counted: dict[str, Any] = json.loads(self._core.statistics())
        return counted

    @property
    def link(self) -> LinkState:
        """Whether the host can be reached."""
        return LinkState(self._core.link_state())

    @property
    def link_text(self) -> str:
        """Why the link is as it is."""
        return self._core.link_text()

    def wait_until_up(self, within: float) -> bool:
        """Waits until the link is up; False when it is not by then."""
        return self._core.wait_until_up(milliseconds(within))

    def close(self) -> None:
        """Ends what is under way (`Cancelled`) and closes the link. Functions that run are not waited for; none is called
        after them."""
        self._shut()
        self._calls.drop()
        for each in self._waiting.valuerefs():
            who = each()
            if who is not None:
                who.close()

    def __enter__(self) -> Client:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()
