"""Messages and packets as bytes, without a host: `encode`, `decode` and what stands below them."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from dataclasses import dataclass
from typing import Any, Union

from . import _core
from .protocol import AcknowledgeType, LinkFrameType, LinkPacketCtrlFlags, MessageId
from .values import StateLike, Value, ValueLike, pair_for, state_number

__all__ = [
    "Item",
    "Message",
    "Packet",
    "checksum",
    "decode",
    "decode_packet",
    "encode",
    "explain",
    "irq_packet",
    "packets",
    "reset_packet",
    "response_packet",
]

#: Tags (`StateLike`) and values (`ValueLike`) as a mapping or as pairs, or the states of a message that lists them. Keys of a
#: mapping would have to be exactly of one type, so they are left open.
Items = Union[Mapping[Any, ValueLike], Iterable[Any]]


@dataclass(frozen=True)
class Item:
    """A tag and its value; the tag is the number of a state in messages about states."""

    tag: int
    value: Value


@dataclass(frozen=True)
class Message:
    """What a message holds: `items`, or `numbers` where its body is a list."""

    id: MessageId | int
    items: tuple[Item, ...] = ()
    numbers: tuple[int, ...] = ()

    def __getitem__(self, tag: StateLike) -> Value:
        """The value of the first item with this tag; KeyError when there is none."""
        number = state_number(tag)
        for item in self.items:
            if item.tag == number:
                return item.value
        raise KeyError(tag)


@dataclass(frozen=True)
class Packet:
    """What a packet's header says, and its payload."""

    type: LinkFrameType | int
    frame_id: int
    packet_id: int
    last: bool
    acknowledgement: AcknowledgeType
    payload: bytes


def encode(id: MessageId | int, items: Items = ()) -> bytes:
    """The bytes of a message.

    `items`: a mapping, or pairs, of tags and values; for a message whose body is a list the states alone.
    Raises `BadBytes` for an id that is none, more than 255 items, more than 65535 bytes; `BadArgument` for a state or a
    value that is none.
    """
    if _core.is_list(id):
        return _core.encode_list(id, [state_number(state) for state in items])
    pairs = items.items() if isinstance(items, Mapping) else items
    numbered = [(state_number(tag), value) for tag, value in pairs]
    about_states = id in (MessageId.SetState, MessageId.StateChanged, 0x8001, 0x8002)
    return _core.encode_values(id, [(tag, pair_for(tag if about_states else -1, value)) for tag, value in numbered])


def decode(message: bytes) -> Message:
    """What the bytes of a message say. Raises `BadBytes` when they are none."""
    number, is_list, content = _core.decode(bytes(message))
    known = MessageId(number) if number in set(MessageId) else number
    if is_list:
        return Message(known, numbers=tuple(content))
    return Message(known, items=tuple(Item(tag, Value.of_pair(pair)) for tag, pair in content))


def packets(message: bytes, frame_id: int = 0, max_packet_size: int = 64, ack: bool = False) -> list[bytes]:
    """The packets that carry a message, in order. `ack` sets the flag that asks for an acknowledgement."""
    return _core.packets(bytes(message), frame_id, max_packet_size, ack)


def decode_packet(packet: bytes) -> Packet:
    """What one packet says. Raises `BadBytes` when it is none."""
    kind, frame_id, packet_id, flags, payload = _core.read_packet(bytes(packet))
    return Packet(
        LinkFrameType(kind) if kind in set(LinkFrameType) else kind,
        frame_id,
        packet_id,
        bool(flags & LinkPacketCtrlFlags.Last),
        AcknowledgeType(flags >> 6),
        payload,
    )


def response_packet(frame_id: int, acknowledgement: AcknowledgeType) -> bytes:
    """What answers a packet."""
    return _core.response_packet(frame_id, acknowledgement)


def reset_packet(frame_id: int) -> bytes:
    """What tells the other end to start over."""
    return _core.reset_packet(frame_id)


def irq_packet(frame_id: int, value: int) -> bytes:
    """What asks a host on a bus for its next packet."""
    return _core.irq_packet(frame_id, value)


def checksum(data: bytes) -> int:
    """The checksum of a chunk of a data transfer, padded with zeros to a multiple of four bytes; up to 65532 of them."""
    return _core.checksum(bytes(data))


def explain(data: bytes) -> str:
    """Bytes in words: a packet, header and message, when they begin with the start mark, else a message."""
    data = bytes(data)
    return _core.print_packet(data) if data[:2] == b"\xff\xfe" else _core.print_message(data)
