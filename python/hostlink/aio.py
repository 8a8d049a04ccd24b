"""The same host for programs that live in an `asyncio` loop."""

from __future__ import annotations

import asyncio
import os
from collections.abc import Callable, Iterable
from types import TracebackType
from typing import Any

from . import _core
from .changes import Change, Changes
from .client import Client, InputEvent, LinkState, Listening, Values, how
from .errors import HostlinkError
from .protocol import ButtonState, LedApiCmd
from .transfers import FileSent
from .values import StateLike, Value, ValueLike
from .wire import WireLike

__all__ = ["AsyncClient"]


class AsyncClient:
    """`Client` with requests to `await`. Takes what that takes; `client` is the one below, which any thread may use.

    A task that is cancelled cancels its request. To be closed: `async with`, or `await close()`.
    """

    def __init__(self, wire: WireLike, **options: Any) -> None:
        self.client = Client(wire, **options)

    async def _end(
        self, begin: Callable[[dict[str, object], Callable[[HostlinkError | None, Any], object]], None], said: dict[str, object]
    ) -> Any:
        loop = asyncio.get_running_loop()
        ended: asyncio.Future[Any] = loop.create_future()

        def settle(wrong: HostlinkError | None, given: Any) -> None:
            if ended.done():
                return
            if wrong is None:
                ended.set_result(given)
            else:
                ended.set_exception(wrong)

        def done(wrong: HostlinkError | None, given: Any) -> None:
            try:
                loop.call_soon_threadsafe(settle, wrong, given)
            except RuntimeError:  # the loop is closed, and nobody waits in it
                pass

        cancellation = _core.Cancellation()
        begin({**said, "cancellation": cancellation}, done)
        try:
            return await ended
        except asyncio.CancelledError:
            cancellation.cancel()
            raise

    async def get(
        self, state: StateLike, *, within: float | None = None, wait_while_down: bool | None = None
    ) -> Value:
        """As `Client.get`."""
        values = await self.get_many([state], within=within, wait_while_down=wait_while_down)
        return next(iter(values.values()))

    async def get_many(
        self, states: Iterable[StateLike], *, within: float | None = None, wait_while_down: bool | None = None
    ) -> dict[int, Value]:
        """As `Client.get_many`."""
        told = await self._end(
            lambda said, done: self.client.begin_get(states, said, done), how(within, wait_while_down)
        )
        return {state: Value.of_pair(pair) for state, pair in told}

    async def set(
        self,
        state: StateLike,
        value: ValueLike,
        *,
        confirm: bool = False,
        within: float | None = None,
        wait_while_down: bool | None = None,
    ) -> None:
        """As `Client.set`."""
        await self.set_many({state: value}, confirm=confirm, within=within, wait_while_down=wait_while_down)

    async def set_many(
        self,
        values: Values,
        *,
        confirm: bool = False,
        within: float | None = None,
        wait_while_down: bool | None = None,
    ) -> None:
        """As `Client.set_many`."""
        await self._end(
            lambda said, done: self.client.begin_set(values, said, done), how(within, wait_while_down, confirm)
        )

    async def send_input_event(self, event: ButtonState, key: int, *, within: float | None = None) -> None:
        """As `Client.send_input_event`."""
        await asyncio.to_thread(self.client.send_input_event, event, key, within=within)

    async def set_led(self, command: LedApiCmd, value: int | bytes | Value, *, within: float | None = None) -> None:
        """As `Client.set_led`."""
        await asyncio.to_thread(self.client.set_led, command, value, within=within)

    async def ask(self, message: bytes, *, within: float | None = None) -> bytes:
        """As `Client.ask`."""
        return await asyncio.to_thread(self.client.ask, message, within=within)

    async def send(self, message: bytes, *, within: float | None = None) -> None:
        """As `Client.send`."""
        await asyncio.to_thread(self.client.send, message, within=within)

    def changes(self, states: Iterable[StateLike], keep: int | None = 256) -> Changes:
        """As `Client.changes`: `async for change in host.changes(["PlayerVolume"])`."""
        return self.client.changes(states, keep)

    def subscribe(
        self, states: Iterable[StateLike], told: Callable[[Change], object], keep: int | None = 256
    ) -> Listening:
        """Calls `told` in this loop."""
        return self.client.subscribe(states, self._in_loop(told), keep)

    def on_input_event(self, told: Callable[[InputEvent], object]) -> Listening:
        """Calls `told` in this loop."""
        return self.client.on_input_event(self._in_loop(told))

    def on_link(self, told: Callable[[LinkState, str], object]) -> Listening:
        """Calls `told` in this loop."""
        return self.client.on_link(self._in_loop(told))

    @staticmethod
    def _in_loop(told: Callable[..., object]) -> Callable[..., object]:
        loop = asyncio.get_running_loop()
        return lambda *what: loop.call_soon_threadsafe(told, *what)

    async def send_file(self, what: str | os.PathLike[str] | bytes, **options: Any) -> FileSent:
        """As `Client.send_file`; `progress` is called on another thread. Cancelling the task cancels the transfer."""
        progress = options.pop("progress", None)
        sending = await asyncio.to_thread(self.client.begin_sending, what, **options)
        try:
            return await asyncio.to_thread(sending.wait, progress)
        except asyncio.CancelledError:
            sending.cancel()
            raise

    async def wait_until_up(self, within: float) -> bool:
        """As `Client.wait_until_up`."""
        return await asyncio.to_thread(self.client.wait_until_up, within)

    @property
    def link(self) -> LinkState:
        """Whether the host can be reached."""
        return self.client.link

    async def close(self) -> None:
        """As `Client.close`."""
        await asyncio.to_thread(self.client.close)

    async def __aenter__(self) -> AsyncClient:
        return self

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        await self.close()

