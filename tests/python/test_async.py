"""The face for asyncio."""

from __future__ import annotations

import asyncio
from collections.abc import Awaitable, Callable

import pytest
from conftest import PATIENCE, UNHURRIED, unhurried

import hostlink
from hostlink import AsyncClient, Faults, Host, LinkState


def run(body: Callable[[Host, AsyncClient], Awaitable[None]], host: Host | None = None) -> None:
    """Runs it with a host and its client, within bounds."""

    async def whole() -> None:
        with host or Host() as simulated:
            async with AsyncClient(unhurried(simulated.path), **UNHURRIED) as client:
                await asyncio.wait_for(body(simulated, client), PATIENCE)

    asyncio.run(whole())


def test_requests() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        assert await client.wait_until_up(PATIENCE)
        assert await client.get("PlayerVolume") == 30
        await client.set("PlayerVolume", 40, confirm=True)
        await client.set_many({"MetaTitle": "Blue", "PlayerMute": 1})
        assert list((await client.get_many(["MetaTitle", "PlayerVolume"])).values()) == ["Blue", 40]
        assert hostlink.decode(await client.ask(hostlink.encode(2, ["PlayerMute"])))["PlayerMute"] == 1
        await client.send_input_event(hostlink.ButtonState.KeyPressed, 1)
        assert (await client.send_file(bytes(500), name="file")).size == 500

    run(body)


def test_many_at_once() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        values = await asyncio.gather(*(client.get(state) for state in ["PlayerVolume", "MaxVolume"] * 20))
        assert [value.number for value in values] == [30, 100] * 20

    run(body)


def test_changes() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        told = []
        with client.changes(["PlayerVolume"]) as changes:
            async for change in changes:
                told.append(change.value.number)
                if len(told) == 4:
                    break
                host.set("PlayerVolume", 30 + len(told))
        assert told == [30, 31, 32, 33]
        assert [change async for change in changes] == []

    run(body)


def test_changes_end_with_the_client() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        async def loop() -> int:
            return len([change async for change in client.changes(["PlayerVolume"])])

        reading = asyncio.create_task(loop())
        await client.get("PlayerVolume")
        await client.close()
        assert await reading <= 1

    run(body)


def test_callbacks_run_in_the_loop() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        told: asyncio.Queue[object] = asyncio.Queue()  # which only its loop may touch
        client.subscribe(["PlayerVolume"], told.put_nowait)
        assert isinstance(await told.get(), hostlink.Change)
        client.on_input_event(told.put_nowait)
        client.on_link(lambda state, why: told.put_nowait(state))
        assert await told.get() is LinkState.Up
        host.press(1)
        assert isinstance(await told.get(), hostlink.InputEvent)

    run(body)


def test_failures_are_raised() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        with pytest.raises(hostlink.BadArgument):
            await client.get("Volme")
        with pytest.raises(hostlink.TimedOutBeforeSending):
            await client.set("PlayerVolume", 1, within=0.05, wait_while_down=True)

    run(body, Host(faults=Faults(nack_first=4)))


def test_a_task_that_is_cancelled_cancels_its_request() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        asking = asyncio.create_task(client.get("PlayerVolume", within=10 * PATIENCE, wait_while_down=True))
        await asyncio.sleep(0)  # it has begun
        asking.cancel()
        with pytest.raises(asyncio.CancelledError):
            await asking

    run(body, Host(faults=Faults(silent_every=1)))


def test_closing_ends_what_is_awaited() -> None:
    async def body(host: Host, client: AsyncClient) -> None:
        asking = asyncio.create_task(client.get("PlayerVolume", within=10 * PATIENCE, wait_while_down=True))
        await asyncio.sleep(0)
        await client.close()
        with pytest.raises(hostlink.Cancelled):
            await asking
        with pytest.raises(hostlink.Cancelled):
            await client.get("PlayerVolume")

    run(body, Host(faults=Faults(silent_every=1)))
