"""How receivers find packets in the bytes of a line, as docs/wire-format.md has it, in the plainest way."""
from pcapng import TO_MODULE

MARK = b"\xff\xfe"


def possible(length):
    return length == 8 or length > 10


def begins_with_a_packet(data):
    length = data[2] + 256 * data[3] if len(data) >= 8 else 0
    return possible(length) and length <= len(data) and data[:2] == MARK


def cut(pieces, direction):
    """(kind, bytes) of all that the pieces hold, in order; what is left over at the end is a "part"."""
    pending, found = b"", []
    for piece in pieces:
        pending += piece
        while True:
            start = pending.find(MARK)
            if start < 0:
                keep = 1 if pending.endswith(MARK[:1]) else 0
                start = len(pending) - keep
            if start:
                found.append(("dropped", pending[:start]))
                pending = pending[start:]
            if len(pending) < 8 or pending[:2] != MARK:
                break
            length = pending[2] + 256 * pending[3]
            if possible(length) and length > len(pending):
                break
            kind = "packet" if possible(length) else "bad"
            if kind == "bad" and (direction != TO_MODULE or length == 0):
                length = 2
            length = min(length, len(pending))
            found.append((kind, pending[:length]))
            pending = pending[length:]
    return found + ([("part", pending)] if pending else [])
