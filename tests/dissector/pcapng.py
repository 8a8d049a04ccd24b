"""Writes captures in the form that docs/dissector.md defines, block by block as the pcapng format has them."""
import struct

USER0 = 147  # link type
TO_MODULE, TO_HOST, UNKNOWN = 1, 2, 0  # inbound and outbound in the flags of a packet
EPOCH = 1_000_000_000_000_000  # microseconds: a day in 2001
SECTION, INTERFACE, PACKET = 0x0A0D0D0A, 1, 6
COMMENT, NAME, FLAGS, DESCRIPTION, RESOLUTION = 1, 2, 2, 3, 9


def padded(data):
    return data + bytes(-len(data) % 4)


def block(kind, body):
    length = len(body) + 12
    return struct.pack("<II", kind, length) + body + struct.pack("<I", length)


def options(*pairs):
    written = b"".join(struct.pack("<HH", code, len(value)) + padded(value) for code, value in pairs)
    return written + bytes(4) if pairs else b""


class Capture:
    def __init__(self):
        self.blocks = [block(SECTION, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))]
        self.interfaces = 0
        self.packets = []  # (interface, direction, data): what has been written

    def interface(self, name, description, link_type=USER0):
        told = options((NAME, name.encode()), (DESCRIPTION, description.encode()), (RESOLUTION, b"\6"))
        self.blocks.append(block(INTERFACE, struct.pack("<HHI", link_type, 0, 0) + told))
        self.interfaces += 1
        return self.interfaces - 1

    def packet(self, interface, direction, data, at=None, comments=()):
        """`at` is microseconds since the epoch; the number of the packet in the capture comes back."""
        at = EPOCH + 1000 * len(self.packets) if at is None else at
        told = [(COMMENT, text.encode()) for text in comments]
        if direction != UNKNOWN:
            told.append((FLAGS, struct.pack("<I", direction)))
        head = struct.pack("<IIIII", interface, at >> 32, at & 0xFFFFFFFF, len(data), len(data))
        self.blocks.append(block(PACKET, head + padded(data) + options(*told)))
        self.packets.append((interface, direction, data))
        return len(self.packets)

    def save(self, path):
        path.write_bytes(b"".join(self.blocks))
