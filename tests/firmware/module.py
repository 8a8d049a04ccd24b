"""The module's side of the line, written from docs/wire-format.md: it shares no code with the library or the engine."""
import os
import select
import struct
import time

SET, GET, SUBSCRIBE, CHANGED, UNSUBSCRIBE, EVENT, DATA, TUNNEL, LED = 1, 2, 3, 4, 5, 6, 7, 8, 9
RESPONSE, UNSUPPORTED, TUNNEL_RESPONSE = 0x8000, 0x8000, 0x8009
LAST, NACK, ACK, MESSAGE, RESET = 0x20, 0x40, 0x80, 3, 1
U8, U16, U32, BIN = 204, 205, 206, 197


def packet(flags, frame_id, packet_id=0, payload=b""):
    if not payload:
        return struct.pack("<2sHBBBx", b"\xff\xfe", 8, flags, frame_id, packet_id)
    return struct.pack("<2sHBBBx", b"\xff\xfe", len(payload) + 10, flags, frame_id, packet_id) + payload + b"\0\0"


def number(tag, value, encoding=U8):
    return struct.pack("<HB" + {U8: "B", U16: "H", U32: "I"}[encoding], tag, encoding, value)


def text(tag, value):
    return struct.pack("<HBH", tag, BIN, len(value)) + value


def values(message_id, *items):
    return struct.pack("<HB", message_id, len(items)) + b"".join(items)


def ids(message_id, *states):
    return struct.pack("<HB%dH" % len(states), message_id, len(states), *states)


def items_of(message):
    """(id, [(tag, encoding, value), ...]) of a message of values; a number as int, bytes as bytes, no value as None."""
    message_id, count = struct.unpack_from("<HB", message)
    at, items = 3, []
    for _ in range(count):
        tag, encoding = struct.unpack_from("<HB", message, at)
        at += 3
        if encoding == BIN:
            length = struct.unpack_from("<H", message, at)[0]
            items.append((tag, encoding, message[at + 2:at + 2 + length]))
            at += 2 + length
        elif encoding == 192:
            items.append((tag, encoding, None))
        else:
            width = 1 << (encoding - 204) % 4
            items.append((tag, encoding, int.from_bytes(message[at:at + width], "little", signed=encoding >= 208)))
            at += width
    assert at == len(message), message.hex(" ")
    return message_id, items


class Module:
    """One link. `messages` are those that have come whole and that nobody has taken; `counts` what went wrong."""

    def __init__(self, path, packet_size=64, timeout=1.0):
        self.line = os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.packet_size, self.timeout = packet_size, timeout
        self.received, self.frames, self.messages = b"", {}, []
        self.responses = []
        self.packets_seen = []  # as they came, until somebody takes them
        self.frame_id = 0
        self.longest_packet = 0
        self.counts = {"refused": 0, "unanswered": 0, "skipped": 0}

    def close(self):
        os.close(self.line)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    # -- bytes and packets

    def write(self, data):
        while data:
            try:
                data = data[os.write(self.line, data):]
            except BlockingIOError:
                select.select([], [self.line], [], 10)

    def serve(self, seconds):
        """Takes what comes within that time, once. False when nothing came."""
        if not select.select([self.line], [], [], seconds)[0]:
            return False
        self.received += os.read(self.line, 65536)
        while self.take_packet():
            pass
        return True

    def take_packet(self):
        start = self.received.find(b"\xff\xfe")
        if start < 0:
            start = max(0, len(self.received) - 1)
        self.counts["skipped"] += start
        self.received = self.received[start:]
        if len(self.received) < 8:
            return False
        length = struct.unpack_from("<H", self.received, 2)[0]
        if len(self.received) < length:
            return False
        whole, self.received = self.received[:length], self.received[length:]
        self.packets_seen.append(whole)
        self.longest_packet = max(self.longest_packet, length)
        if length == 8:
            self.responses.append((whole[4] & 0xC0, whole[5]))
        else:
            self.write(packet(ACK | LAST | MESSAGE, whole[5], whole[6]))
            self.join(whole)
        return True

    def join(self, whole):
        parts = self.frames.setdefault(whole[5], [])
        assert whole[6] == len(parts), whole.hex(" ")
        parts.append(whole[8:-2])
        if whole[4] & LAST:
            self.messages.append(b"".join(self.frames.pop(whole[5])))

    # -- messages

    def response(self):
        """The next response, waited for as long as the host may take; 0 when there is none."""
        deadline = time.monotonic() + self.timeout
        while not self.responses:
            left = deadline - time.monotonic()
            if left <= 0:
                return 0
            self.serve(left)
        return self.responses.pop(0)[0]

    def packets(self, message):
        room = self.packet_size - 10
        pieces = [message[at:at + room] for at in range(0, len(message), room)]
        last = len(pieces) - 1
        return [packet(MESSAGE | (LAST if i == last else 0), self.frame_id, i, piece) for i, piece in enumerate(pieces)]

    def send(self, message):
        """Whether every packet was accepted, after four attempts at most."""
        whole = self.packets(message)
        self.frame_id = (self.frame_id + 1) % 256
        return all(self.send_packet(each) for each in whole)

    def send_packet(self, bytes_of_packet):
        for _ in range(4):
            self.responses.clear()
            self.write(bytes_of_packet)
            answer = self.response()
            if answer == ACK:
                return True
            if answer != NACK:
                self.counts["unanswered"] += 1
                return False
            self.counts["refused"] += 1
            time.sleep(0.01)  # as the module does
        return False

    def reset(self):
        """Starts over, as a module does when its link is opened."""
        self.frame_id = 0
        self.frames.clear()
        self.responses.clear()
        self.write(packet(LAST | RESET, 0))
        return self.response() == ACK

    def next(self, wanted=lambda message: True, seconds=10):
        """Takes out the first message that is wanted; none within that time is an error."""
        deadline = time.monotonic() + seconds
        seen = 0
        while True:
            for i in range(seen, len(self.messages)):
                if wanted(self.messages[i]):
                    return self.messages.pop(i)
            seen = len(self.messages)
            left = deadline - time.monotonic()
            assert left > 0, "no such message within %s s; there are %s" % (seconds, [m.hex(" ") for m in self.messages])
            self.serve(left)

    def ask(self, request, answer_id, seconds=10):
        assert self.send(request), (request.hex(" "), self.counts)
        return items_of(self.next(lambda m: struct.unpack_from("<H", m)[0] == answer_id, seconds))[1]
