"""Threads of the interpreter, and how long things live."""

from __future__ import annotations

import gc
import os
import queue
import sys
import threading
import weakref
from concurrent.futures import ThreadPoolExecutor

from conftest import PATIENCE, Gate, eventually, patient

import hostlink
from hostlink import Change, Client, Host
from hostlink._calls import Calls, Told


def test_many_threads_ask_at_once(hostlink_host: Host, hostlink_client: Client) -> None:
    def ask(worker: int) -> None:
        state = 0x1000 + worker
        for value in range(25):
            hostlink_client.set(state, value)
            assert hostlink_client.get(state) == value

    with ThreadPoolExecutor(8) as pool:
        list(pool.map(ask, range(8)))
    assert hostlink_host.get(0x1007) == 24


def test_a_call_that_waits_lets_others_run() -> None:
    """Were the interpreter not let go, the wait would outlast what ends it."""
    with Host() as host, patient(host) as client, client.receive_files() as arriving:
        assert client.wait_until_up(PATIENCE)
        begun, files = Gate(), queue.Queue[bool]()

        def wait() -> None:
            begun.set()
            files.put(arriving._core.next(int(PATIENCE * 1000)) is not None)

        thread = threading.Thread(target=wait)
        thread.start()
        begun.pass_through()
        host.send(hostlink.encode(7, [(0, "a"), (1, 0), (2, b""), (3, None)]))
        assert files.get(timeout=PATIENCE)
        thread.join()


def test_the_end_of_a_subscription_waits_for_its_callback(hostlink_host: Host, hostlink_client: Client) -> None:
    running, go_on = Gate(), Gate()
    done = []

    def told(change: Change) -> None:
        running.set()
        go_on.pass_through()
        done.append(change)

    subscription = hostlink_client.subscribe(["PlayerVolume"], told)
    running.pass_through()
    ending = threading.Thread(target=subscription.end)
    ending.start()
    eventually(lambda: subscription._call._ended)
    assert ending.is_alive() and not done
    go_on.set()
    ending.join(PATIENCE)
    assert not ending.is_alive() and len(done) == 1


def test_a_callback_may_end_its_own_subscription(hostlink_host: Host, hostlink_client: Client) -> None:
    ended = Gate()

    def told(change: Change) -> None:
        subscription.end()
        ended.set()

    hold = Gate()
    with hostlink_client.on_link(lambda state, why: hold.wait(PATIENCE)):  # until it can be reached from the callback
        subscription = hostlink_client.subscribe(["PlayerVolume"], told)
        hold.set()
        ended.pass_through()


def test_a_callback_may_close_its_client(hostlink_host: Host) -> None:
    client = patient(hostlink_host)
    closed = Gate()

    def told(change: Change) -> None:
        client.close()
        closed.set()

    client.subscribe(["PlayerVolume"], told)
    closed.pass_through()
    client._thread.join(PATIENCE)
    assert not client._thread.is_alive()


def test_others_may_begin_to_wait_while_a_client_is_closed(hostlink_host: Host) -> None:
    class Waiting(hostlink.Changes):
        """One of many."""

        def __init__(self) -> None:
            super().__init__(None)

    client = patient(hostlink_host)
    kept = [Waiting() for _ in range(40000)]
    late: list[Waiting] = []
    for each in kept:
        client._waits(each)
    begun, over = Gate(), Gate()

    def begin() -> None:
        while not over.is_set():
            late.append(Waiting())
            client._waits(late[-1])
            begun.set()

    usual = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    thread = threading.Thread(target=begin)
    thread.start()
    begun.pass_through()
    try:
        client.close()
    finally:
        over.set()
        sys.setswitchinterval(usual)
        thread.join()
    assert all(list(each) == [] for each in kept + late)  # each has ended


def test_others_may_end_calls_while_all_are_dropped() -> None:
    class Raced(dict[int, Told]):
        """Of which another thread takes the last one after each look."""

        def __len__(self) -> int:
            return 1

    calls, told = Calls(), []
    calls._by_id = Raced()  # type: ignore[assignment]
    calls.add(Told(told.append))
    calls.drop()
    calls.tell(1, "late")
    assert told == []


def test_a_subscription_keeps_its_client(hostlink_host: Host) -> None:
    told: queue.Queue[Change] = queue.Queue()
    subscription = patient(hostlink_host).subscribe(["PlayerVolume"], told.put)
    assert told.get(timeout=PATIENCE).value == 30
    gc.collect()
    hostlink_host.set("PlayerVolume", 31)
    assert told.get(timeout=PATIENCE).value == 31
    subscription.end()


def test_a_client_keeps_its_subscriptions_and_their_functions(hostlink_host: Host, hostlink_client: Client) -> None:
    told: queue.Queue[Change] = queue.Queue()
    hostlink_client.subscribe(["PlayerVolume"], lambda change: told.put(change))
    assert told.get(timeout=PATIENCE).value == 30
    gc.collect()
    hostlink_host.set("PlayerVolume", 31)
    assert told.get(timeout=PATIENCE).value == 31


def test_a_client_that_nobody_holds_is_closed(hostlink_host: Host) -> None:
    """Also one whose callback holds it: a circle, which the collection of garbage finds."""
    asked = Gate()

    def open_and_forget() -> tuple[weakref.ref[Client], threading.Thread]:
        client = patient(hostlink_host)
        client.subscribe(["PlayerVolume"], lambda change: (client.get("MaxVolume"), asked.set()))
        return weakref.ref(client), client._thread

    client, thread = open_and_forget()
    asked.pass_through()

    def is_gone() -> bool:
        gc.collect()
        return client() is None

    eventually(is_gone)
    thread.join(PATIENCE)
    assert not thread.is_alive()


def test_a_fork_leaves_the_client_to_its_parent(hostlink_host: Host, hostlink_client: Client) -> None:
    child = os.fork()
    if child == 0:
        try:
            hostlink_client.get("PlayerVolume")
        except RuntimeError as error:
            os._exit(0 if "before a fork" in str(error) else 1)
        os._exit(2)
    assert os.waitpid(child, 0)[1] == 0
    assert hostlink_client.get("PlayerVolume") == 30
