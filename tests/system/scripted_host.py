"""A host at the far side of a pseudo terminal that says what it is told to say, written from docs/wire-format.md.

It shares no code with the library: the packets that it takes apart and puts together are an independent reading of the
page. Deterministic: it acts only on what comes in.
"""
import os
import select
import struct
import termios
import threading
import tty

SET, GET, SUBSCRIBE, CHANGED, UNSUBSCRIBE, EVENT, DATA = 1, 2, 3, 4, 5, 6, 7
RESPONSE = 0x8000
VOLUME, MUTE, PLAY_STATUS, SYSTEM_INFO, FIRMWARE = 0x0009, 0x0007, 0x000B, 0xF300, 0xF001
ACK = 0xA3


def packet(flags, frame_id, payload=b"", packet_id=0):
    if not payload:
        return struct.pack("<2sHBBBB", b"\xff\xfe", 8, flags, frame_id, packet_id, 0)
    head = struct.pack("<2sHBBBB", b"\xff\xfe", len(payload) + 10, flags, frame_id, packet_id, 0)
    return head + payload + b"\0\0"


def uint8_item(tag, number):
    return struct.pack("<HBB", tag, 0xCC, number)


def text_item(tag, text):
    return struct.pack("<HBH", tag, 0xC5, len(text)) + text


def values(message_id, *items):
    return struct.pack("<HB", message_id, len(items)) + b"".join(items)


def list_of(message):
    count = message[2]
    return list(struct.unpack("<%dH" % count, message[3:3 + 2 * count]))


class ScriptedHost:
    """`answer(host, message)` is called with each whole message of the module, after its acknowledgement."""

    def __init__(self, answer):
        self.answer = answer
        self.master, slave = os.openpty()
        tty.setraw(slave, termios.TCSANOW)
        self.path = os.ttyname(slave)
        self.slave = slave  # or the master reads EIO before the program has come
        self.received = b""
        self.frames = {}
        self.frame_id = 0
        self.sending = threading.Lock()  # whoever serves answers, and whoever made it may send, too
        self.messages = []
        self.hung_up = False

    def hang_up(self):
        os.close(self.slave)
        os.close(self.master)
        self.hung_up = True

    def close(self):
        if not self.hung_up:
            self.hang_up()

    def send(self, message):
        """One message in one packet; the module's acknowledgement of it is not waited for."""
        with self.sending:
            os.write(self.master, packet(0x23, self.frame_id, message))
            self.frame_id = (self.frame_id + 1) % 256

    def serve(self, seconds):
        """Takes what has come within that time. False when the line is gone."""
        if self.hung_up:
            return False
        if not select.select([self.master], [], [], seconds)[0]:
            return True
        self.received += os.read(self.master, 4096)
        while not self.hung_up and self.take_packet():
            pass
        return not self.hung_up

    def take_packet(self):
        if len(self.received) < 8:
            return False
        assert self.received[:2] == b"\xff\xfe", self.received
        length = struct.unpack("<H", self.received[2:4])[0]
        if len(self.received) < length:
            return False
        whole, self.received = self.received[:length], self.received[length:]
        flags, frame_id, packet_id = whole[4], whole[5], whole[6]
        if length == 8:
            return True  # a response to one of ours
        os.write(self.master, packet(ACK, frame_id))
        parts = self.frames.setdefault(frame_id, [])
        assert packet_id == len(parts), (packet_id, parts)
        parts.append(whole[8:-2])
        if flags & 0x20:
            message = b"".join(self.frames.pop(frame_id))
            self.messages.append(message)
            self.answer(self, message)
        return True
