"""Bytes, by the golden vectors and by hand."""

from __future__ import annotations

import pytest
from vectors import number, pattern, rows

import hostlink
from hostlink import AcknowledgeType, BadBytes, Encoding, LinkFrameType, MessageId, State, Value


@pytest.mark.parametrize("row", rows("fixed_values"), ids=lambda row: row[3])
def test_a_number_travels_as_the_vectors_say(row: list[str]) -> None:
    tag, encoding, bits = (number(cell) for cell in row[:3])
    value = bits - (1 << 64) if encoding >= Encoding.Int8 and bits >> 63 else bits
    message = hostlink.encode(MessageId.SetState, {tag: Value(value, Encoding(encoding))})
    assert message.hex(" ").upper() == row[3]
    item = hostlink.decode(message).items[0]
    assert (item.tag, item.value.number, item.value.encoding) == (tag, value, encoding)


@pytest.mark.parametrize("row", rows("message_packets"), ids=lambda row: row[0])
def test_a_message_is_cut_as_the_vectors_say(row: list[str]) -> None:
    length, size, frame_id, index, ack = (number(cell) for cell in row[1:6])
    packet = hostlink.packets(pattern(length), frame_id, size, bool(ack))[index]
    assert packet.hex(" ").upper() == row[6]
    told = hostlink.decode_packet(packet)
    assert (told.type, told.frame_id, told.packet_id) == (LinkFrameType.Message, frame_id, index)
    assert told.payload == packet[8:-2]


@pytest.mark.parametrize("row", rows("checksums"), ids=lambda row: row[0])
def test_a_checksum_is_that_of_the_vectors(row: list[str]) -> None:
    assert hostlink.checksum(bytes.fromhex(row[1])) == number(row[2])


@pytest.mark.parametrize("row", rows("pattern_checksums"), ids=lambda row: row[0])
def test_a_long_checksum_is_that_of_the_vectors(row: list[str]) -> None:
    assert hostlink.checksum(pattern(number(row[0]))) == number(row[1])


def test_states_are_named_as_agreed() -> None:
    for cell, name in rows("state_names"):
        printed = hostlink.explain(hostlink.encode(MessageId.GetState, [number(cell)]))
        assert f'"{name}"' in printed or name in printed
        if name.isidentifier() and not name.startswith("STA_"):
            assert number(cell) in {int(state) for state in State}


def test_values_are_named_as_agreed() -> None:
    for state, value, name in rows("state_value_names"):
        named = hostlink.decode(hostlink.encode(MessageId.SetState, {number(state): name})).items[0].value
        assert named.number == number(value) or named.name(number(state)) == Value(number(value)).name(number(state))


def test_a_list_message() -> None:
    message = hostlink.encode(MessageId.GetState, ["PlayerVolume", State.PlayerMute, 0x1234])
    assert message.hex(" ") == "02 00 03 09 00 07 00 34 12"
    assert hostlink.decode(message) == hostlink.Message(MessageId.GetState, numbers=(9, 7, 0x1234))


def test_all_kinds_of_values() -> None:
    message = hostlink.encode(MessageId.SetState, {"PlayerMute": True, "MetaTitle": "Blü", 0x1000: b"\0\xff", 2: None})
    assert message.hex(" ") == (
        "01 00 04 07 00 cc 01 0c 00 c5 04 00 42 6c c3 bc 00 10 c5 02 00 00 ff 02 00 c0"
    )
    told = hostlink.decode(message)
    assert told["PlayerMute"] == 1
    assert told["MetaTitle"].text == "Blü"
    assert told[0x1000].bytes == b"\0\xff"
    assert told[2].is_nil
    with pytest.raises(KeyError):
        told["PlayerVolume"]


def test_tags_that_are_no_states_have_values_without_names() -> None:
    message = hostlink.encode(MessageId.DataTransfer, [(hostlink.DataTransferState.LastChunk, "Idle")])
    assert message.hex(" ") == "07 00 01 03 00 c5 04 00 49 64 6c 65"  # 3 is PowerState among the states


def test_response_reset_and_irq() -> None:
    assert hostlink.response_packet(9, AcknowledgeType.Ack).hex(" ") == "ff fe 08 00 a3 09 00 00"
    assert hostlink.decode_packet(bytes.fromhex("ff fe 08 00 63 09 00 00")) == hostlink.Packet(
        LinkFrameType.Response, 9, 0, True, AcknowledgeType.Nack, b""
    )
    assert hostlink.reset_packet(5).hex(" ") == "ff fe 08 00 21 05 00 00"
    assert hostlink.irq_packet(1, 64).hex(" ") == "ff fe 0e 00 22 01 00 00 40 00 00 00 00 00"


@pytest.mark.parametrize(
    "message, code",
    [("", 13), ("01", 13), ("01 00", 13), ("01 00 01", 21), ("01 00 01 09 00 cc", 21), ("01 00 01 09 00 01 00", 20),
     ("40 00 00", 18), ("02 00 01 09", 21)],
)  # fmt: skip
def test_bytes_that_are_no_message(message: str, code: int) -> None:
    with pytest.raises(BadBytes) as told:
        hostlink.decode(bytes.fromhex(message))
    assert told.value.code == code


@pytest.mark.parametrize("packet, code", [("ff fe 08", 22), ("ff fe 09 00 23 00 00 00 00", 10), ("00 fe 08 00 a3 00 00 00", 11)])
def test_bytes_that_are_no_packet(packet: str, code: int) -> None:
    with pytest.raises(BadBytes) as told:
        hostlink.decode_packet(bytes.fromhex(packet))
    assert told.value.code == code


def test_what_cannot_be_encoded() -> None:
    with pytest.raises(BadBytes, match="more than 255 items"):
        hostlink.encode(MessageId.SetState, [(1, 1)] * 256)
    with pytest.raises(BadBytes, match="no room"):
        hostlink.encode(MessageId.SetState, [(1, bytes(40000)), (2, bytes(40000))])
    with pytest.raises(BadBytes, match="out of range"):
        hostlink.encode(0x4000, {})
    with pytest.raises(BadBytes):
        hostlink.packets(bytes(65536))
    with pytest.raises(BadBytes):
        hostlink.checksum(bytes(65533))
    with pytest.raises(hostlink.BadArgument, match="no state named 'Volme'"):
        hostlink.encode(MessageId.GetState, ["Volme"])
    with pytest.raises(hostlink.BadArgument, match="no value named 'Plying'"):
        hostlink.encode(MessageId.SetState, {"PlayerPlayStatus": "Plying"})
    for number_of_no_state in (-1, 65536, 1 << 70):
        with pytest.raises(hostlink.BadArgument):
            hostlink.encode(MessageId.GetState, [number_of_no_state])


def test_words() -> None:
    printed = hostlink.explain(hostlink.packets(hostlink.encode(MessageId.SetState, {"PlayerPlayStatus": "Playing"}))[0])
    assert "SetStateMessage" in printed and "PlayerPlayStatus" in printed and "Playing" in printed
