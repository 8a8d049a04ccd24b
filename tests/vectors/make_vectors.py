#!/usr/bin/env python3
"""Writes the test vectors of this folder: packets, messages and checksums, worked out here without the library.

Run it in this folder after a change; the *.inc files it writes are kept beside it.
"""

import struct
from pathlib import Path

HERE = Path(__file__).resolve().parent


def hex_text(data):
    return " ".join(f"{byte:02X}" for byte in data)


def pattern(count):
    """The filler of the tests: byte i is (7 i + 3) mod 256."""
    return bytes((7 * i + 3) & 0xFF for i in range(count))


def write(name, struct_lines, array, rows, row_format="    {%s},"):
    lines = ["// Written by make_vectors.py; do not edit."]
    lines += struct_lines
    lines.append(f"constexpr {array[0]} {array[1]}[] = {{")
    lines += [row_format % row for row in rows]
    lines.append("};")
    (HERE / name).write_text("// clang-format off\n" + "\n".join(lines) + "\n// clang-format on\n")


# ---- packets of a message


def packets_of(message, max_packet_size, frame_id, ack):
    """All packets: cut with slices, no index arithmetic shared with the code under test."""
    room = max_packet_size - 10
    chunks = [message[i : i + room] for i in range(0, len(message), room)]
    for packet_id, chunk in enumerate(chunks):
        flags = 3 | (0x20 if packet_id == len(chunks) - 1 else 0) | (0x80 if ack else 0)
        yield struct.pack("<2sHBBBB", b"\xff\xfe", len(chunk) + 10, flags, frame_id, packet_id, 0) + chunk + b"\0\0"


def message_packet_rows():
    cases = [(64, n) for n in (1, 2, 7, 8, 9, 10, 11, 53, 54, 55, 107, 108, 109, 162)]
    cases += [(11, 1), (11, 2), (11, 3), (12, 5), (18, 17), (255, 245), (255, 246), (256, 246), (256, 247), (256, 300)]
    for number, (size, length) in enumerate(cases):
        frame_id = (number * 37) & 0xFF
        ack = number % 3 == 1
        for index, packet in enumerate(packets_of(pattern(length), size, frame_id, ack)):
            name = f"{length} bytes in packets of {size}: {index}"
            yield f'"{name}", {length}, {size}, {frame_id}, {index}, {int(ack)}, "{hex_text(packet)}"'


# ---- value messages

FIXED = {  # encoding: (struct code, values at the edges)
    204: ("B", [0, 1, 127, 128, 255]),
    205: ("H", [0, 1, 0x7FFF, 0x8000, 0xFFFF, 0x1234]),
    206: ("I", [0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x12345678]),
    207: ("Q", [0, 1, 2**63 - 1, 2**63, 2**64 - 1, 0x123456789ABCDEF0]),
    208: ("b", [0, 1, 127, -1, -128]),
    209: ("h", [0, 1, 32767, -1, -32768, -2]),
    210: ("i", [0, 1, 2**31 - 1, -1, -(2**31), -2]),
    211: ("q", [0, 1, 2**63 - 1, -1, -(2**63), -2]),
}


def fixed_value_rows():
    tags = [0x0000, 0x0102, 0xFFFF, 0x00FF, 0xFF00, 0x1234]
    for encoding, (code, values) in FIXED.items():
        for tag, value in zip(tags, values):
            item = struct.pack("<HB" + code, tag, encoding, value)
            message = struct.pack("<HB", 1, 1) + item
            bits = value & 0xFFFFFFFFFFFFFFFF
            yield f'0x{tag:04X}, {encoding}, 0x{bits:016X}u, "{hex_text(message)}"'


# ---- checksum


def crc32_mpeg2(data):
    """Bit by bit, most significant bit first; polynomial 0x04C11DB7, register 0xFFFFFFFF, no reflection, no final XOR."""
    register = 0xFFFFFFFF
    for byte in data:
        for bit in range(7, -1, -1):
            feedback = (register >> 31) ^ ((byte >> bit) & 1)
            register = (register << 1) & 0xFFFFFFFF
            if feedback:
                register ^= 0x04C11DB7
    return register


def data_transfer_checksum(data):
    assert len(data) % 4 == 0
    return crc32_mpeg2(b"".join(data[i : i + 4][::-1] for i in range(0, len(data), 4)))


def crc_table_rows():
    """Entry i is what the bit-by-bit register makes of the byte i from an empty register."""
    for i in range(256):
        register = 0
        for bit in range(7, -1, -1):
            feedback = (register >> 31) ^ ((i >> bit) & 1)
            register = ((register << 1) & 0xFFFFFFFF) ^ (0x04C11DB7 if feedback else 0)
        yield f"0x{register:08X}u"


def checksum_rows():
    assert crc32_mpeg2(b"123456789") == 0x0376E6E7  # the published check value
    named = [
        ("digits 1 to 8", b"12345678"),
        ("1 2 3 4", bytes([1, 2, 3, 4])),
        ("four zeros", bytes(4)),
        ("eight zeros", bytes(8)),
        ("four FF", b"\xff" * 4),
        ("eight FF", b"\xff" * 8),
        ("one bit, first byte", bytes([1, 0, 0, 0])),
        ("one bit, last byte", bytes([0, 0, 0, 0x80])),
        ("words in order", bytes([0x78, 0x56, 0x34, 0x12, 0xF0, 0xDE, 0xBC, 0x9A])),
    ]
    for name, data in named:
        yield f'"{name}", "{hex_text(data)}", 0x{data_transfer_checksum(data):08X}u'


def pattern_checksum_rows():
    for length in (4, 8, 12, 16, 52, 56, 108, 252, 256, 260, 1024, 4096, 32768, 65528, 65532):
        yield f"{length}, 0x{data_transfer_checksum(pattern(length)):08X}u"


write(
    "message_packets.inc",
    [
        "struct MessagePacketVector {",
        "    const char* name;",
        "    size_t messageLength; // bytes of patternBytes",
        "    uint16_t maxPacketSize;",
        "    uint8_t frameId;",
        "    uint8_t index;",
        "    uint32_t ackRequest;",
        "    const char* packet;",
        "};",
    ],
    ("MessagePacketVector", "messagePacketVectors"),
    message_packet_rows(),
)
write(
    "fixed_values.inc",
    [
        "struct FixedValueVector {",
        "    uint16_t tag;",
        "    uint8_t encoding;",
        "    uint64_t value;      // sign-extended to 64 bits",
        "    const char* message; // a \"SetStateMessage\" with this one item",
        "};",
    ],
    ("FixedValueVector", "fixedValueVectors"),
    fixed_value_rows(),
)
write("crc_table.inc", [], ("uint32_t", "crcTableVector"), crc_table_rows(), "    %s,")
write(
    "checksums.inc",
    ["struct ChecksumVector {", "    const char* name;", "    const char* data;", "    uint32_t checksum;", "};"],
    ("ChecksumVector", "checksumVectors"),
    checksum_rows(),
)
write(
    "pattern_checksums.inc",
    ["struct PatternChecksumVector {", "    size_t length; // bytes of patternBytes", "    uint32_t checksum;", "};"],
    ("PatternChecksumVector", "patternChecksumVectors"),
    pattern_checksum_rows(),
)
