#!/usr/bin/env python3
"""Writes the first inputs of the fuzz targets, corpus/TARGET/seed-*, out of the test vectors and the protocol's rules.

Run it in this folder after a change of a target's input; what it writes is kept beside what the fuzzer has found.
"""

import random
import re
import struct
from pathlib import Path

HERE = Path(__file__).resolve().parent
VECTORS = HERE.parent / "tests" / "vectors"

ACK, NACK, NEITHER, BOTH = 0xA3, 0x63, 0x23, 0xE3


def rows(name):
    """The rows of a table of vectors, each a list of its columns as text."""
    for line in (VECTORS / f"{name}.inc").read_text().splitlines():
        if line.startswith("    {"):
            yield [(text or plain).strip() for text, plain in re.findall(r'"([^"]*)"|([^,{}"]+)', line) if text or plain.strip()]


def word(number):
    return struct.pack("<H", number)


def pattern(count):
    return bytes((7 * i + 3) & 0xFF for i in range(count))


def packet(flags, frame_id, packet_id, payload):
    return struct.pack("<2sHBBBB", b"\xff\xfe", len(payload) + 10, flags, frame_id, packet_id, 0) + payload + b"\0\0"


def header_only(flags, frame_id=5):
    return struct.pack("<2sHBBBB", b"\xff\xfe", 8, flags, frame_id, 0, 0)


def irq(value):
    return packet(0x22, 7, 0, struct.pack("<I", value))


def slug(text):
    return re.sub(r"[^a-z0-9]+", "-", text.lower()).strip("-")


def seed(target, name, data):
    folder = HERE / "corpus" / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / f"seed-{slug(name)}").write_bytes(bytes(data))


VECTOR_PACKETS = {row[0]: bytes.fromhex(row[6]) for row in rows("message_packets")}
MESSAGES = {f"encoding {row[1]} of {row[2][:18]}": bytes.fromhex(row[3]) for row in rows("fixed_values")}
SOME_MESSAGES = dict(list(MESSAGES.items())[::6])
PLAIN_PACKETS = {
    "response none": header_only(NEITHER),
    "response nack": header_only(NACK),
    "response ack": header_only(ACK),
    "response both": header_only(BOTH),
    "reset": header_only(0x21),
    "irq 64": irq(64),
    "irq large": irq(0x12345678),
    "length 0": b"\xff\xfe\0\0" + header_only(0x23)[4:],
    "length 9": b"\xff\xfe\x09\0" + header_only(0x23)[4:] + b"\0",
    "length 10": b"\xff\xfe\x0a\0" + header_only(0x23)[4:] + b"\0\0",
    "cut short": packet(0x23, 1, 0, pattern(20))[:-1],
    "longest": b"\xff\xfe\xff\xff\x23\x01\0\0" + pattern(24),
}
GET_STATE = bytes.fromhex("02 00 02 10 00 20 00")
BINARY = bytes.fromhex("01 00 02 01 00 C5 03 00 61 62 63 02 00 C0")
TWO_OF_ONE = bytes.fromhex("01 00 02 02 01 CC 05 01 01")


def packet_seeds():
    for name, data in list(PLAIN_PACKETS.items()) + list(VECTOR_PACKETS.items())[::4]:
        seed("packet", name, b"\0" + data)
    seed("packet", "behind noise", b"\0" + pattern(9) + PLAIN_PACKETS["response ack"])
    for room, length in ((1, 3), (54, 54), (54, 55), (54, 108), (246, 300)):
        seed("packet", f"cut {length} by {room}", bytes([1, room - 1, 0x25]) + pattern(length))


def message_seeds():
    for name, data in list(SOME_MESSAGES.items()) + [("list", GET_STATE), ("binary", BINARY), ("short", TWO_OF_ONE)]:
        seed("message", name, b"\0\0\0" + data)
    for end in (5, 6, 7, 9, 11, 13):
        seed("message", f"binary cut behind {end}", b"\0\0\0" + BINARY[:end])
    for index, name in ((1, "second"), (2, "no such"), (255, "last possible")):
        seed("message", f"{name} item", bytes([0, index, 0]) + BINARY)
    seed("message", "bad encoding", b"\0\1\0" + bytes.fromhex("01 00 02 01 00 C1 01 00 C0"))
    seed("message", "shrunk store", b"\0\1\4" + BINARY)
    seed("message", "build list", b"\1" + word(100) + word(2) + b"\1" + bytes([4, 8, 0]))
    seed("message", "build full list", b"\1" + word(4000) + word(0x8003) + b"\1" + bytes([252, 252, 252]))
    seed("message", "build values", b"\1" + word(300) + word(1) + b"\0" + bytes([0x0E, 0x0F, 0x2E, 0x2F, 0x09, 0x16]))
    seed("message", "build full values", b"\1" + word(4000) + word(1) + b"\0" + bytes([254, 254, 254]))
    seed("message", "build wrong kind", b"\1" + word(100) + word(1) + b"\1" + bytes([4]))


def frame_seeds():
    first, last = bytes([1, 0x81, 0x03, 0x07]), bytes([1, 0x83, 0x23, 0x07])
    seed("frame", "two packets", word(200) + first + pattern(0x81 % 80 + 1) + last + pattern(0x83 % 80 + 1))
    seed("frame", "no room", word(10) + first + pattern(0x81 % 80 + 1) + last + pattern(0x83 % 80 + 1))
    seed("frame", "response first", word(200) + bytes([1, 33, ACK]) + last + pattern(0x83 % 80 + 1))
    seed("frame", "large packets", word(2000) + bytes([1, 50, 0x03, 1]) + bytes([1, 62, 0x23, 1]))
    seed("frame", "moved and copied", word(2000) + b"".join(bytes([8 * i, 0x82, 0x03, 1]) for i in range(8)))
    seed("frame", "raw bytes", word(64) + bytes([1, 12]) + PLAIN_PACKETS["length 10"][:12] + bytes([1, 3]) + b"\xff\xfe\x08")


def printer_seeds():
    for name, data in PLAIN_PACKETS.items():
        seed("printer", name, b"\0" + data)
    for name, data in list(SOME_MESSAGES.items()) + [("list", GET_STATE), ("binary", BINARY), ("short", TWO_OF_ONE)]:
        seed("printer", name, b"\x23" + data)
    for number in (1, 2, 3, 4, 5, 6, 7, 8, 9, 0x8000, 0x8001, 0x8002, 0x8003, 0x8005, 0x8007, 0x8009):
        seed("printer", f"message {number:04x}", b"\x23" + word(number) + bytes([1, 3, 0, 0xCC, 10]))
    for encoding, code in ((204, "B"), (205, "H"), (206, "I"), (207, "Q"), (208, "b"), (209, "h"), (210, "i"), (211, "q")):
        item = word(0x26) + bytes([encoding]) + struct.pack("<" + code, 64)
        seed("printer", f"named value of encoding {encoding}", b"\x23" + word(4) + b"\1" + item)
    for row in list(rows("state_value_names"))[::12]:
        tag, value = int(row[0], 0), int(row[1], 0)
        item = word(tag) + bytes([210]) + struct.pack("<i", value)
        seed("printer", f"value {value} of state {tag:04x}", b"\x23" + word(4) + b"\1" + item)


def checksum_seeds():
    for row in rows("checksums"):
        seed("checksum", row[0], word(256) + bytes.fromhex(row[1]))
    seed("checksum", "small table", word(255) + pattern(8))
    for length in (0, 5, 252, 1024):
        seed("checksum", f"pattern of {length}", word(256) + pattern(length))


def chunks(data, size):
    return b"".join(bytes([size]) + data[i : i + size] for i in range(0, len(data), size))


def uart_stream_seeds():
    line = PLAIN_PACKETS["response ack"] + packet(0x03, 1, 0, pattern(20)) + packet(0x23, 1, 1, pattern(5))
    for size in (1, 7, 8, 40):
        seed("uart_stream", f"packets in reads of {size}", b"\0" + chunks(line, size))
    seed("uart_stream", "noise first", b"\0" + chunks(pattern(11) + line, 30))
    seed("uart_stream", "only noise", b"\0" + chunks(bytes(range(60)), 20))
    seed("uart_stream", "half a mark", b"\0" + chunks(bytes(7) + b"\xff", 8) + chunks(b"\xfe" + line[2:], 30))
    for name in ("length 0", "length 9", "length 10", "longest", "cut short"):
        seed("uart_stream", name, b"\0" + chunks(PLAIN_PACKETS[name] + line, 50))
    seed("uart_stream", "as many as asked", b"\0" + b"\0" + packet(0x23, 1, 0, pattern(54)) + b"\0" + pattern(40))
    only = bytes([4, 3, ACK, 70, 0x23]) + pattern(7) + bytes([5, NACK, 90, 0x03]) + pattern(27)
    for cut in (0, 6, 50):
        seed("uart_stream", f"only packets cut by {cut + 1}", b"\1" + only + bytes([cut]) * 40)


# What a host on a bus answers (support/Replies.h): 40 and the kind, nothing cut off or put behind.


def raw(data):
    assert len(data) < 32
    return bytes([46, len(data)]) + data


def part(flags, frame_id, payload):
    return bytes([43, flags, frame_id, 0, len(payload) - 1]) + payload


def reply_seeds():
    refused, announced, said = raw(header_only(NACK)), raw(irq(200)), part(0x23, 1, pattern(12))
    yield "message", said
    yield "announcement", announced + said
    yield "refused once", refused + said
    yield "refused twice", refused + refused + refused + said + refused
    yield "other acknowledgements", raw(header_only(ACK)) + raw(header_only(NEITHER)) + raw(header_only(BOTH))
    yield "reset and unknown", raw(header_only(0x21)) + part(0x25, 1, pattern(3))
    yield "no packet", raw(b"\xff" * 20) + raw(PLAIN_PACKETS["length 10"]) + bytes([35, 0x23, 1, 0, 7]) + pattern(8)


def irq_exchange_seeds():
    for name, data in reply_seeds():
        seed("irq_exchange", name, data)


def transport_seeds():
    quiet, loud = b"\0\x35", b"\3\x35"
    two = b"\0" + part(0x03, 1, pattern(30)) + b"\0" + part(0x23, 1, pattern(9))
    mixed = b"\0" + part(0x03, 1, pattern(30)) + b"\0" + part(0x23, 2, GET_STATE) + b"\0" + part(0x23, 1, pattern(9))
    for log, name in ((quiet, ""), (loud, " logged")):
        seed("transport", "two packets" + name, log + two)
        seed("transport", "two frames mixed" + name, log + mixed)
        seed("transport", "accepted" + name, log + b"\3\x40" + BINARY)
        seed("transport", "rejected three times" + name, log + b"\3\x43\1\1\1" + GET_STATE)
        seed("transport", "rejected four times" + name, log + b"\3\x44\1\1\1\1" + GET_STATE)
    seed("transport", "error in the second packet", b"\0\0" + b"\3\x42\0\2" + GET_STATE)
    seed("transport", "no response", b"\0\0" + b"\3\x41\3" + GET_STATE)


def host_seeds():
    # Steps: below 160 a packet of the module, to 224 time, above that messages of the host's own.
    get = bytes([7, 0, 1, 1, 2]) + bytes([9, 0])
    for kind, wire in ((1, "line"), (2, "bus")):
        no_faults = bytes([kind, 0, 0])
        seed("host", f"get state over a {wire}", no_faults + b"\0" + get + bytes([190, 0, 6, 0]))
        seed("host", f"own messages over a {wire}", no_faults + bytes([224, 0, 6, 0, 225, 200, 0, 6, 0]))
        seed("host", f"frame in two packets over a {wire}", no_faults + bytes([0, 5, 0, 9]) + pattern(10) + b"\0" + bytes([7, 1, 1, 1, 0]))
        seed("host", f"twins over a {wire}", no_faults + b"\0" + get + bytes([0, 255, 0, 255]))
        seed("host", f"resets over a {wire}", no_faults + bytes([0, 5, 0, 9]) + pattern(10) + bytes([0, 3, 0, 224, 0, 3, 0]))
        for bit in range(8):
            seed("host", f"fault {bit} over a {wire}", bytes([kind, 1 << bit, 3, 20] + [0] * (bit == 7)) + b"\0" + get + b"\0" + get + bytes([224, 220]))
    seed("host", "small packet announced twice", bytes([2, 0x10, 3, 0, 33, 191, 0, 0, 0, 0]))
    for size in (1, 9, 40):
        line = PLAIN_PACKETS["response ack"] + pattern(9) + PLAIN_PACKETS["length 9"] + packet(0x23, 1, 1, pattern(5))
        seed("host", f"reader cut by {size}", b"\0" + b"".join(bytes([len(line[i : i + size]) - 1]) + line[i : i + size] for i in range(0, len(line), size)))


def bus_link_seeds():
    for log, extra in ((0, ""), (7, " logged")):
        for name, data in reply_seeds():
            seed("bus_link", name + extra, bytes([log, 53, 6]) + data + b"\x01" + raw(header_only(ACK)))
    for name, flags in (("accepted", ACK), ("rejected", NACK), ("error", BOTH), ("no response", NEITHER)):
        seed("bus_link", f"write {name}", bytes([0, 53, 9]) + raw(header_only(flags)) + GET_STATE)
    seed("bus_link", "late answer", bytes([0, 53, 11]) + raw(b"\xff" * 8) + raw(b"\xff" * 8) + raw(header_only(ACK)) + GET_STATE)
    seed("bus_link", "announced for ever", bytes([0, 53, 7]) + raw(irq(100)) * 7)
    seed("bus_link", "refused and announced for ever", bytes([0, 53, 7]) + (raw(header_only(NACK)) + raw(irq(100))) * 3 + raw(irq(64)))
    seed("bus_link", "acknowledgement fails", bytes([0, 53, 193]) + part(0x23, 1, pattern(4)))


def uart_link_seeds():
    # Steps: 0 a packet, 1 noise, 2 a bad packet, 3 a message of the module; 4 times the size of a read.
    incoming = bytes([0x50, 0x05]) + pattern(5)
    for log, extra in ((0, ""), (7, " logged")):
        start = bytes([log, 53])
        seed("uart_link", "message in" + extra, start + incoming)
        seed("uart_link", "message in by bytes" + extra, start + b"\0\x05" + pattern(5))
        seed("uart_link", "two packets in" + extra, start + bytes([0x50, 0x0C]) + pattern(12) + bytes([0x50, 0x09]) + pattern(9))
        seed("uart_link", "noise and bad packets" + extra, start + b"\1" + pattern(64) + b"\2\0" + b"\2\x09" + incoming)
        for name, answer in (("neither", 0), ("nack", 1), ("ack", 2), ("both", 3), ("reset before", 4), ("gone", 31)):
            seed("uart_link", f"message out {name}{extra}", start + bytes([0x53, 1, answer, 7]) + GET_STATE)
        seed("uart_link", "message out refused" + extra, start + bytes([0x53, 4, 1, 1, 1, 1, 7]) + GET_STATE)
        stale = bytes([0x50, 13, 0x53, 1, 2, 7]) + GET_STATE
        seed("uart_link", "response before it is asked for" + extra, start + stale)
        seed("uart_link", "both ways" + extra, start + bytes([0x53, 1, 197, 5]) + pattern(5) + bytes([7]) + GET_STATE + incoming)


def client_matcher_seeds():
    # Every byte is a choice; walks, and two that were thought out.
    for number in range(1, 9):
        seed("client_matcher", f"walk {number}", random.Random(number).randbytes(400))
    seed("client_matcher", "one get answered", [0, 0, 3, 1, 40, 3, 4, 9, 0, 4, 1])
    seed("client_matcher", "two gets of one state", [0, 0, 3, 0, 0, 3, 4, 9, 1, 50, 0, 0, 3, 0, 200, 3, 4, 9, 7, 1, 7, 11, 7, 11])


for write_seeds in (packet_seeds, message_seeds, frame_seeds, printer_seeds, checksum_seeds, uart_stream_seeds,
                    irq_exchange_seeds, transport_seeds, host_seeds, bus_link_seeds, uart_link_seeds, client_matcher_seeds):
    write_seeds()
