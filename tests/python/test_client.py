"""Both ends in one process: requests, subscriptions, keys, the link."""

from __future__ import annotations

import contextlib
import itertools
import logging
import os
import pathlib
import queue
import sys
import threading
from collections.abc import Callable
from typing import Any

import pytest
from conftest import PATIENCE, UNHURRIED, eventually, patient, unhurried
from scripted_host import ScriptedHost

import hostlink
from hostlink import Change, Client, Faults, Host, LinkState, MessageId, State, Value


@pytest.mark.hostlink(states={"PlayerVolume": 12, "MetaTitle": "Blue", "PlayerPlayStatus": "Playing"})
def test_get(hostlink_client: Client) -> None:
    assert hostlink_client.get("PlayerVolume") == 12
    assert hostlink_client.get(State.MetaTitle).text == "Blue"
    assert hostlink_client.get(0x000B).name("PlayerPlayStatus") == "Playing"
    assert hostlink_client.get("MetaAlbum").is_nil
    assert list(hostlink_client.get_many(["MetaTitle", "PlayerVolume"]).items()) == [
        (State.MetaTitle, Value("Blue")),
        (State.PlayerVolume, Value(12)),
    ]


def test_set(hostlink_host: Host, hostlink_client: Client) -> None:
    hostlink_client.set("PlayerVolume", 40)
    hostlink_client.set("PlayerPlayStatus", "Playing", confirm=True)
    hostlink_client.set_many({"MetaTitle": "Blue", "PlayerMute": True})
    hostlink_client.set(0x1000, Value(5, hostlink.Encoding.Int32))
    assert hostlink_host.get("PlayerVolume") == 40
    assert hostlink_host.get("PlayerPlayStatus") == 2
    assert hostlink_host.get("MetaTitle") == "Blue"
    assert hostlink_host.get("PlayerMute") == 1
    assert hostlink_host.get(0x1000).encoding is hostlink.Encoding.Int32


def test_bad_arguments_send_nothing(hostlink_host: Host, hostlink_client: Client) -> None:
    assert hostlink_client.get("PlayerVolume") == 30  # all that was asked when the link was opened has come before this
    before = hostlink_host.counts()["messagesReceived"]
    for wrong in (
        lambda: hostlink_client.get("Volme"),
        lambda: hostlink_client.get_many([]),
        lambda: hostlink_client.get("PlayerVolume", within=0),
        lambda: hostlink_client.set("PlayerVolume", 1 << 64),
        lambda: hostlink_client.ask(b""),
        lambda: hostlink_client.send_file("/nowhere/at/all"),
    ):
        with pytest.raises(hostlink.BadArgument) as told:
            wrong()
        assert told.value.outcome == "BadArgument" and not told.value.may_have_been_executed
    assert hostlink_host.counts()["messagesReceived"] == before


def test_any_message(hostlink_host: Host, hostlink_client: Client) -> None:
    answer = hostlink_client.ask(hostlink.encode(MessageId.GetState, ["PlayerVolume"]))
    assert hostlink.decode(answer)["PlayerVolume"] == 30
    with pytest.raises(hostlink.Unsupported):
        hostlink_client.set_led(hostlink.LedApiCmd.SetPalette, b"\x01\x02", within=PATIENCE)
    hostlink_client.send_input_event(hostlink.ButtonState.KeyPressed, 7)
    eventually(lambda: hostlink_host.counts()["messagesReceived"] > 2)


def test_changes_are_told_in_order(hostlink_host: Host, hostlink_client: Client) -> None:
    with hostlink_client.changes(["PlayerVolume"]) as changes:
        assert changes.next(PATIENCE) == Change(State.PlayerVolume, Value(30), was_read=True)
        for volume in range(31, 41):
            hostlink_host.set("PlayerVolume", volume)
        told = [next(changes) for _ in range(10)]
    assert [change.value for change in told] == list(range(31, 41))
    assert str(told[0]) == "PlayerVolume = 31" and not told[0].was_read
    assert list(changes) == []


def test_a_reader_that_is_slow_misses_the_oldest(hostlink_host: Host, hostlink_client: Client) -> None:
    some, latest = hostlink_client.changes(["PlayerVolume"], keep=2), hostlink_client.changes(["PlayerVolume"], keep=None)
    seen = hostlink_client.changes(["PlayerVolume"])
    while next(seen).value != 49:
        if seen.subscription.last("PlayerVolume") == 30:  # type: ignore[attr-defined]
            for volume in range(31, 50):
                hostlink_host.set("PlayerVolume", volume)

    def has_come(changes: hostlink.Changes) -> bool:
        with changes._changed:  # while one replaces another, none waits
            return changes._waiting[-1].value == 49

    eventually(lambda: has_come(some) and has_come(latest))
    first, last = next(some), next(latest)
    assert (first.value, next(some).value) == (48, 49) and first.missed == 18  # of 20, the one that was read included
    assert last.value == 49 and last.missed > 0


def test_a_subscription(hostlink_host: Host, hostlink_client: Client) -> None:
    told: queue.Queue[Change] = queue.Queue()
    subscription = hostlink_client.subscribe(["PlayerVolume"], told.put)
    subscription.established(PATIENCE)
    assert told.get(timeout=PATIENCE).value == 30
    hostlink_host.set("PlayerVolume", 31)
    assert told.get(timeout=PATIENCE).value == 31
    assert subscription.last("PlayerVolume") == 31 and subscription.last("MetaTitle") is None
    assert subscription.missed() == 0
    subscription.end()
    hostlink_host.set("PlayerVolume", 32)
    assert hostlink_client.get("PlayerVolume") == 32 and told.empty()
    with pytest.raises(hostlink.Cancelled):
        subscription.established(PATIENCE)


def test_a_callback_may_ask(hostlink_host: Host, hostlink_client: Client) -> None:
    got: queue.Queue[Value] = queue.Queue()
    hostlink_client.subscribe(["PlayerVolume"], lambda change: got.put(hostlink_client.get("MaxVolume")))
    assert got.get(timeout=PATIENCE) == 100


def test_a_callback_that_raises_is_told_and_harms_nobody(
    hostlink_host: Host, hostlink_client: Client, monkeypatch: pytest.MonkeyPatch
) -> None:
    unraisable: queue.Queue[Any] = queue.Queue()
    monkeypatch.setattr(sys, "unraisablehook", lambda what: unraisable.put((what.exc_type, str(what.exc_value), what.object)))

    def refuse(change: Change) -> None:
        raise ArithmeticError(str(change))

    hostlink_client.subscribe(["PlayerVolume"], refuse)
    kind, text, where = unraisable.get(timeout=PATIENCE)
    assert (kind, text) == (ArithmeticError, "PlayerVolume = 30") and callable(where)
    hostlink_host.set("PlayerVolume", 31)
    assert unraisable.get(timeout=PATIENCE)[1] == "PlayerVolume = 31"


def test_keys_of_the_host(hostlink_host: Host, hostlink_client: Client) -> None:
    keys: queue.Queue[hostlink.InputEvent] = queue.Queue()
    messages: queue.Queue[bytes] = queue.Queue()
    with hostlink_client.on_input_event(keys.put), hostlink_client.on_message(MessageId.InputEvent, messages.put):
        hostlink_host.press(3)
        assert keys.get(timeout=PATIENCE) == hostlink.InputEvent(hostlink.ButtonState.KeyPressed, Value(3))
        assert keys.get(timeout=PATIENCE).event is hostlink.ButtonState.KeyReleased
        assert hostlink.decode(messages.get(timeout=PATIENCE)).items[0].value == 3
    hostlink_host.burst(2)
    assert hostlink_client.get("PlayerVolume") == 30 and keys.empty()


def test_a_host_that_goes_and_comes_back(tmp_path: pathlib.Path) -> None:
    port = tmp_path / "host"
    states: queue.Queue[tuple[LinkState, str]] = queue.Queue()
    seen: list[LinkState] = []

    def wait_until_told(state: LinkState) -> None:  # by a thread of its own, which may come later than what it tells
        while not seen or seen[-1] is not state:
            seen.append(states.get(timeout=PATIENCE)[0])

    wire = hostlink.Uart(str(port), response_timeout=PATIENCE)
    with Client(wire, first_pause=0.01, longest_pause=0.02, **UNHURRIED) as client:
        client.on_link(lambda state, why: states.put((state, why)))
        with pytest.raises(hostlink.LinkDown, match="cannot be opened|there is no link"):
            client.get("PlayerVolume")
        for volume in (1, 2):
            with Host(states={"PlayerVolume": volume}, link=port) as host:
                assert client.wait_until_up(PATIENCE), client.link_text
                assert client.get("PlayerVolume", wait_while_down=True) == volume
                assert host.counts()["faults"] == 0
                wait_until_told(LinkState.Up)
            eventually(lambda: client.link is LinkState.Down)
            wait_until_told(LinkState.Down)
        assert client.statistics()["links"] == 2 and client.statistics()["losses"] == 2
    assert client.link is LinkState.Closed
    while not states.empty():
        seen.append(states.get()[0])
    assert seen.count(LinkState.Up) == 2 and seen[-1] in (LinkState.Down, LinkState.Closed)


def test_closed_is_closed(hostlink_host: Host) -> None:
    with patient(hostlink_host) as client:
        assert client.get("PlayerVolume") == 30
        changes = client.changes(["PlayerVolume"])
    client.close()
    with pytest.raises(hostlink.Cancelled):
        client.get("PlayerVolume")
    assert len(list(changes)) <= 1  # it ends
    assert list(client.changes(["PlayerVolume"])) == []
    hostlink_host.close()
    hostlink_host.close()
    with pytest.raises(RuntimeError, match="the host is closed"):
        hostlink_host.counts()


def test_log_lines_go_to_logging(hostlink_host: Host, caplog: pytest.LogCaptureFixture) -> None:
    caplog.set_level(logging.DEBUG, "hostlink")
    with patient(hostlink_host) as client:
        client.get("PlayerVolume")
        eventually(lambda: any(hostlink_host.path in record.getMessage() for record in caplog.records))
    assert {record.name for record in caplog.records} == {"hostlink"}


@pytest.mark.hostlink(faults=Faults(nack_first=2, late_every=3, late_by=0.002, garbage_every=2, split_writes=True))
def test_faults_that_the_link_makes_good(hostlink_host: Host) -> None:
    # What an answer is to be waited for stays as it is: one that got lost in the garbage is asked for again.
    with Client(hostlink.Uart(hostlink_host.path, response_timeout=10), deadline=PATIENCE) as client:
        assert client.wait_until_up(PATIENCE), client.link_text
        for volume in range(20):
            client.set("PlayerVolume", volume, confirm=True)
            assert hostlink_host.get("PlayerVolume") == volume
        counts = hostlink_host.counts()
        assert counts["faultNacks"] > 40 and counts["faultLateAnswers"] > 0 and counts["faultGarbage"] > 0

        def is_told() -> bool:
            told, refused = client.statistics(), hostlink_host.counts()["faultNacks"]
            # A refusal that got lost in the garbage is one that did not come.
            return bool(told["refusedPackets"] <= refused <= told["refusedPackets"] + told["unansweredPackets"])

        # What was asked again because its answer took its time may still be on its way when that answer has come.
        eventually(is_told)


FAULTS = {
    "silent_every": "faultSilences",
    "ack_nack_every": "faultAckNacks",
    "neither_every": "faultNeithers",
    "nack_first": "faultNacks",
    "repeat_every": "faultRepeatedPackets",
    "burst": "faultBursts",
    "garbage_every": "faultGarbage",
    "split_writes": "faultSplitWrites",
    "drop_rate_to_module": "faultDroppedBytes",
    "corrupt_rate_to_module": "faultCorruptedBytes",
    "insert_rate_to_module": "faultInsertedBytes",
    "repeat_rate_to_module": "faultRepeatedBytes",
    "drop_rate_to_host": "faultDroppedBytes",
    "corrupt_rate_to_host": "faultCorruptedBytes",
    "insert_rate_to_host": "faultInsertedBytes",
    "repeat_rate_to_host": "faultRepeatedBytes",
}


@pytest.mark.parametrize("fault", [*FAULTS, "late_every"])
def test_each_fault_is_that_of_the_simulator(fault: str) -> None:
    """Over the bare port, so that nothing has to be made good."""
    amount = 0.2 if "rate" in fault else True if fault == "split_writes" else 1
    settings: dict[str, Any] = {fault: amount, "limit": 7}
    with Host(faults=Faults(**settings, late_by=0.001)) as host:
        port = os.open(host.path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        asked = hostlink.encode(MessageId.GetState, ["PlayerVolume"])
        frames = itertools.count()

        def happened() -> bool:
            frame = next(frames) % 200
            with contextlib.suppress(BlockingIOError):
                os.write(port, hostlink.packets(asked, frame, ack=True)[0])
                for packet in os.read(port, 4096).split(b"\xff\xfe")[1:]:
                    if len(packet) > 8:  # a message, not an answer
                        os.write(port, hostlink.response_packet(packet[3], hostlink.AcknowledgeType.Ack))
            return host.counts()[FAULTS.get(fault, "faultLateAnswers")] > 0

        eventually(happened)
        assert 0 < host.counts()["faults"] <= 7
        os.close(port)


def test_a_host_that_refuses() -> None:
    with Host(faults=Faults(nack_first=4)) as host, Client(host.path) as client:
        eventually(lambda: host.counts()["faultNacks"] >= 4)
        with pytest.raises(hostlink.TimedOutBeforeSending) as told:
            client.set("PlayerVolume", 40, wait_while_down=True, within=0.1)
        assert not told.value.may_have_been_executed
        assert host.get("PlayerVolume") == 30


class Scripted:
    """A host that says what the test wants, on a thread of its own."""

    def __init__(self, answer: Callable[[ScriptedHost, bytes], None], **options: Any) -> None:
        self.host = ScriptedHost(answer)
        self.options = options or UNHURRIED  # of its client
        self.over = False
        self.thread = threading.Thread(target=self.serve)

    def serve(self) -> None:
        while not self.over and self.host.serve(0.01):
            pass

    def __enter__(self) -> Client:
        self.thread.start()
        self.client = Client(unhurried(self.host.path), probe="PlayerMute", **self.options)
        return self.client

    def __exit__(self, *_: object) -> None:
        self.client.close()
        self.over = True
        self.thread.join()
        self.host.close()


MUTE = bytes.fromhex("02 80 01 07 00 cc 00")  # what the client asks for first


def test_a_host_that_holds_another() -> None:
    def answer(host: ScriptedHost, message: bytes) -> None:
        is_set = message[:2] == b"\x01\x00"
        host.send(bytes.fromhex("01 80 01 09 00 cc 63") if is_set else MUTE)

    with Scripted(answer) as client, pytest.raises(hostlink.HoldsAnother, match="99") as told:
        client.set("PlayerVolume", 40, wait_while_down=True)
    assert told.value.held == {State.PlayerVolume: Value(99)}
    assert told.value.may_have_been_executed and told.value.refusals == 0


def test_a_host_that_answers_about_less() -> None:
    with Scripted(lambda host, message: host.send(MUTE)) as client, pytest.raises(hostlink.WithoutState) as told:
        client.get_many(["PlayerMute", "PlayerVolume"], wait_while_down=True)
    assert told.value.held == {State.PlayerMute: Value(0)}


def test_a_host_that_does_not_answer() -> None:
    def answer(host: ScriptedHost, message: bytes) -> None:
        if message == bytes.fromhex("02 00 01 07 00"):
            host.send(MUTE)

    with Scripted(answer, answer_time=1.0) as client, pytest.raises(hostlink.Unanswered) as told:
        # Given up after the second that an answer may take; so is the link's own question, where the machine pauses.
        client.set("PlayerVolume", 40, within=PATIENCE, wait_while_down=True)
    assert told.value.may_have_been_executed


def test_a_host_that_the_system_refuses() -> None:
    with pytest.raises(FileNotFoundError, match="cannot make the link /nowhere/at/all"):
        Host(link="/nowhere/at/all")
    with pytest.raises(ValueError, match="11 to 65535"):
        Host(max_packet_size=10)


def test_records(hostlink_client: Client) -> None:
    with Host(record=3) as host, patient(host) as client:
        client.get("PlayerVolume")
        eventually(host.is_idle)
        records = host.records()
    assert len(records) == 3
    assert {record.event for record in records} <= {"PacketReceived", "PacketSent", "MessageReceived", "MessageSent"}
