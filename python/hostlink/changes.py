"""Being told of states: a change, and changes as something to loop over."""

from __future__ import annotations

import asyncio
import threading
from collections import deque
from collections.abc import AsyncIterator, Callable, Iterator
from dataclasses import dataclass, replace
from types import TracebackType

from .protocol import State
from .values import Value

__all__ = ["Change", "Changes"]


@dataclass(frozen=True)
class Change:
    """A state has a value that the subscriber did not know."""

    state: State | int
    value: Value
    was_read: bool = False  #: read, not told: what the host held when the subscription began, or after a new link
    missed: int = 0  #: changes that were dropped right before this one, because nobody took them

    def __str__(self) -> str:
        name = self.state.name if isinstance(self.state, State) else f"{self.state:#06x}"
        return f"{name} = {self.value.name(self.state)}"


class Changes:
    """Changes in the order in which they come, for `for` and for `async for`; what is not taken waits.

    Ends when the client is closed, or with `end()` or a `with` block. For one that takes them, in one loop or several.
    """

    def __init__(self, keep: int | None) -> None:
        self._keep = keep  # how many wait; None: the latest of each state
        self._changed = threading.Condition()
        self._waiting: deque[Change] = deque()  # guarded by the condition, like all that follows
        self._missed = 0
        self._ended = False
        self._wakers: list[Callable[[], None]] = []
        self.on_end: Callable[[], None] = lambda: None

    def put(self, change: Change) -> None:
        """From the thread for callbacks."""
        with self._changed:
            if self._ended:
                return
            if self._keep is None:
                self._drop(next((old for old in self._waiting if old.state == change.state), None))
            elif len(self._waiting) == self._keep:
                self._drop(self._waiting[0])
            self._waiting.append(change)
            self._wake()

    def _drop(self, old: Change | None) -> None:
        if old is not None:
            self._waiting.remove(old)
            self._missed += 1 + old.missed

    def _wake(self) -> None:
        self._changed.notify_all()
        for wake in self._wakers:
            wake()
        self._wakers.clear()

    def close(self) -> None:
        """The client is closed: those who wait get no more."""
        with self._changed:
            self._ended = True
            self._wake()

    def end(self) -> None:
        """Unsubscribes; loops over this end."""
        self.close()
        self.on_end()

    def _take(self) -> Change | None:
        if not self._waiting:
            return None
        change = self._waiting.popleft()
        missed, self._missed = self._missed, 0
        return replace(change, missed=change.missed + missed) if missed else change

    def next(self, timeout: float | None = None) -> Change | None:
        """The next change; None when there was none within `timeout` seconds, or after the end."""
        with self._changed:
            self._changed.wait_for(lambda: self._waiting or self._ended, timeout)
            return self._take()

    def __iter__(self) -> Iterator[Change]:
        return self

    def __next__(self) -> Change:
        change = self.next()
        if change is None:
            raise StopIteration
        return change

    def __aiter__(self) -> AsyncIterator[Change]:
        return self

    async def __anext__(self) -> Change:
        loop = asyncio.get_running_loop()
        while True:
            with self._changed:
                change = self._take()
                if change is not None:
                    return change
                if self._ended:
                    raise StopAsyncIteration
                woken = asyncio.Event()
                self._wakers.append(lambda: wake_in(loop, woken))
            await woken.wait()

    def __enter__(self) -> Changes:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.end()


def wake_in(loop: asyncio.AbstractEventLoop, woken: asyncio.Event) -> None:
    """Sets the event in its loop, if that is still there."""
    try:
        loop.call_soon_threadsafe(woken.set)
    except RuntimeError:  # the loop is closed, and nobody waits in it
        pass
