"""Files both ways, and tunnels."""

from __future__ import annotations

import pathlib
import socket
import threading

import pytest
from conftest import PATIENCE, Gate, eventually, patient

import hostlink
from hostlink import Client, DataTransferState, Host, MessageId


def crc(data: bytes) -> int:
    """CRC-32/MPEG-2 over words whose bytes come last first, bit by bit."""
    register = 0xFFFFFFFF
    for at in range(0, len(data), 4):
        for byte in reversed(data[at : at + 4].ljust(4, b"\0")):
            register ^= byte << 24
            for _ in range(8):
                register = (register << 1 ^ (0x04C11DB7 if register >> 31 else 0)) & 0xFFFFFFFF
    return register


def chunks_of(name: str, data: bytes, size: int) -> list[bytes]:
    """A file as a host sends it."""
    messages = []
    pieces = [data[at : at + size] for at in range(0, len(data), size)]
    for number, piece in enumerate(pieces):
        items: list[tuple[hostlink.StateLike, hostlink.ValueLike]] = []
        if number == 0:
            items += [(DataTransferState.FileName, name), (DataTransferState.FileSize, len(data))]
        items += [(DataTransferState.SequenceNum, number), (DataTransferState.Data, piece)]
        items += [(DataTransferState.DataCRC, hostlink.Value(crc(piece), hostlink.Encoding.Uint32))]
        if number == len(pieces) - 1:
            items.append((DataTransferState.LastChunk, None))
        messages.append(hostlink.encode(MessageId.DataTransfer, items))
    return messages


DATA = bytes(i * 7 & 0xFF for i in range(2400))


def test_a_file_to_the_host(tmp_path: pathlib.Path, hostlink_host: Host, hostlink_client: Client) -> None:
    path = tmp_path / "tones.bin"
    path.write_bytes(DATA)
    told: list[hostlink.Progress] = []
    sent = hostlink_client.send_file(path, chunk=400, progress=told.append, answer_time=PATIENCE)
    assert (sent.size, sent.checksum, sent.chunks, sent.repeated) == (2400, crc(DATA), 6, 0)
    assert told[-1].done == told[-1].total == 2400
    assert hostlink_client.send_file(b"", name="empty").size == 0


def test_sending_that_is_cancelled(hostlink_host: Host) -> None:
    with Host(baud=9600) as host, patient(host) as client:
        sending = client.begin_sending(bytes(100000), name="long")
        assert not sending.wait_for(0)
        sending.cancel()
        with pytest.raises(hostlink.Cancelled):
            sending.wait()


def test_progress_that_raises_ends_the_transfer() -> None:
    with Host(baud=9600) as host, patient(host) as client:
        sending = client.begin_sending(bytes(100000), name="long")

        def refuse(progress: hostlink.Progress) -> None:
            raise ArithmeticError(progress.done)

        with pytest.raises(ArithmeticError):
            sending.wait(refuse)
        with pytest.raises(hostlink.Cancelled):
            sending.wait()


@pytest.mark.hostlink(response_timeout=PATIENCE)  # it sends the rest of a chunk, however late it is acknowledged
def test_files_of_the_host(hostlink_host: Host, hostlink_client: Client) -> None:
    with hostlink_client.receive_files() as arriving:
        for name in ("first", "second"):
            hostlink_host.send(*chunks_of(name, DATA, 400))
            file = arriving.next(PATIENCE)
            assert file is not None and file.complete
            assert (file.name, file.data, file.size, file.checksum) == (name, DATA, 2400, crc(DATA))
        assert arriving.next(0) is None


@pytest.mark.hostlink(response_timeout=PATIENCE)
def test_a_file_that_is_too_long_is_refused(hostlink_host: Host, hostlink_client: Client) -> None:
    with hostlink_client.receive_files(limit=1000) as arriving:
        hostlink_host.send(*chunks_of("long", DATA, 400))
        hostlink_host.send(*chunks_of("short", DATA[:800], 400))
        long, short = arriving.next(PATIENCE), arriving.next(PATIENCE)
    assert long is not None and (long.name, long.end, long.complete) == ("long", "Unwritable", False)
    assert short is not None and (short.name, short.complete) == ("short", True)


@pytest.mark.parametrize("by_itself", [True, False])
def test_receiving_ends(by_itself: bool, hostlink_host: Host, hostlink_client: Client) -> None:
    arriving = hostlink_client.receive_files()
    begun, ended = Gate(), Gate()

    def loop() -> None:
        begun.set()
        assert list(arriving) == []
        ended.set()

    thread = threading.Thread(target=loop)
    thread.start()
    begun.pass_through()
    arriving.end() if by_itself else hostlink_client.close()
    ended.pass_through()
    thread.join()


def test_a_tunnel(hostlink_client: Client) -> None:
    """The simulated host makes no connections of its own; what it does with others is the library's to test."""
    with hostlink_client.tunnel() as tunnel:
        with socket.create_connection(("127.0.0.1", tunnel.port), PATIENCE) as through:
            eventually(lambda: tunnel.statistics()["opened"] + tunnel.statistics()["refused"] == 1)
            with pytest.raises(hostlink.BadArgument):  # there is one already
                hostlink_client.tunnel()
            through.close()
        eventually(lambda: tunnel.statistics()["open"] == 0)
