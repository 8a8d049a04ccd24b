"""The Wireshark plugin by tshark: dissector_test.py BUILD PRINTER_WORDS CLASS..."""
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import printed
import reference
from dissection import Home, PLUGIN
from pcapng import Capture, EPOCH, TO_HOST, TO_MODULE, UNKNOWN
from sources import (bus_capture, conversations, corpus, irq, line_capture, packet, response, vector_messages,
                     vector_packets)

DEMO_CHECKSUM = 1888955737  # of its 512 bytes, bit by bit as docs/wire-format.md says, outside the project
BUILD, PRINTER, SKIPPED = None, None, 77


def kind_of(part):
    """What a part of a capture packet is."""
    for name, kind in (("message.size", "message"), ("flags", "packet"), ("dropped", "dropped"), ("filler", "filler"),
                       ("part", "part"), ("line", "comment"), ("verdict", "comment")):
        if part.all(name):
            return kind
    return "bad"


def of_kind(parts, kind):
    return [part for part in parts if kind_of(part) == kind]


class Dissected(unittest.TestCase):
    """A capture and a home with the plugin."""

    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.home = Home(self.folder / "home")
        self.capture = Capture()
        self.path = self.folder / "capture.pcapng"

    def dissect(self, *words):
        self.capture.save(self.path)
        return self.home.dissect(self.path, *words)

    def tshark(self, *words):
        self.capture.save(self.path)
        return self.home.tshark("-r", self.path, *words)

    def columns(self, *fields, words=()):
        """The values of the fields, a row for each capture packet."""
        asked = [word for field in fields for word in ("-e", field)]
        return [line.split("\t") for line in self.tshark("-T", "fields", *asked, *words).splitlines()]

    def alone(self, form, direction, *pieces):
        """An interface of its own for these pieces; the numbers of their capture packets."""
        interface = self.capture.interface(f"wire {self.capture.interfaces}", form)
        return [self.capture.packet(interface, direction, piece) for piece in pieces]

    def assertPrinted(self, what, of, parts, data):
        """Each part says what the printer says of its bytes."""
        self.assertEqual(len(parts), len(data))
        for part, words, one in zip(parts, printed.printed(PRINTER, what, data), data):
            self.assertEqual(of(part), words, f"{what} {one.hex(' ')} in capture packet {part.number}")


class Vectors(Dissected):
    def test_packets_say_what_the_printer_says(self):
        packets = vector_packets() + [response(flags, 9) for flags in (0x23, 0x63, 0xA3, 0xE3, 0x20)] + \
            [packet(b"\1\2\3", 1, 0, flags) for flags in (0x21, 0x24, 0x3F, 0x00, 0xE3)] + [irq(64), irq(0)]
        for one in packets:
            self.alone("uart packets", TO_HOST, one)
        dissected = self.dissect()
        self.assertEqual(len(dissected), len(packets))
        self.assertPrinted("packet", printed.of_packet, [of_kind(parts, "packet")[0] for parts in dissected], packets)

    def test_messages_say_what_the_printer_says(self):
        messages = vector_messages()
        self.assertGreater(len(messages), 900)
        for number, message in enumerate(messages):
            self.alone("uart packets", TO_HOST, packet(message, number % 256))
        dissected = self.dissect()
        found = [of_kind(parts, "message") for parts in dissected]
        self.assertEqual([len(each) for each in found], [1] * len(messages))
        self.assertPrinted("message", printed.of_message, [each[0] for each in found], messages)


class Corpora(Dissected):
    def test_any_bytes_as_a_message(self):
        """With and without the choices that some targets read first."""
        messages = [data[skip:] for _, data in corpus() for skip in (0, 1, 3) if len(data) > skip]
        for message in messages:
            self.alone("uart packets", TO_MODULE, packet(message))
        found = [of_kind(parts, "message") for parts in self.dissect()]
        self.assertEqual([len(each) for each in found], [1] * len(messages))
        self.assertPrinted("message", printed.of_message, [each[0] for each in found], messages)

    def test_any_bytes_as_a_packet(self):
        inputs = [data[skip:] for _, data in corpus() for skip in (0, 1, 2) if len(data) > skip]
        for data in inputs:
            self.alone("i2c transactions", TO_MODULE, data)
        dissected = self.dissect()
        self.assertEqual(len(dissected), len(inputs))
        packets, data = [], []
        for parts, one in zip(dissected, inputs):
            found = of_kind(parts, "packet")
            self.assertEqual(len(found), reference.begins_with_a_packet(one), one.hex(" "))
            packets += found
            data += [one[:int(part.show("length"))] for part in found]
        self.assertGreater(len(packets), 40)
        self.assertPrinted("packet", printed.of_packet, packets, data)


class Streams(Dissected):
    """Bytes of serial lines in pieces: nothing is lost, and what is found is what receivers find."""

    def check(self, lines, *words):
        """`lines` are (direction, pieces), each on an interface of its own."""
        numbers = [self.alone("uart bytes", direction, *pieces) for direction, pieces in lines]
        found = {parts[0].number: parts for parts in self.dissect("-o", "hostlink.hostgivesup:0", *words) if parts}
        packets, data = [], []
        for (direction, pieces), own in zip(lines, numbers):
            expected = reference.cut(pieces, direction)
            self.assertEqual(sum(len(part) for _, part in expected), sum(map(len, pieces)))
            parts = [part for number in own for part in found.get(number, [])]
            shown = [part for part in parts if kind_of(part) in ("packet", "bad", "dropped")]
            self.assertEqual([(kind_of(part), int(part.element.get("size"))) for part in shown],
                             [(kind, len(part)) for kind, part in expected if kind != "part"])
            packets += [part for part in shown if kind_of(part) == "packet"]
            data += [part for kind, part in expected if kind == "packet"]
        self.assertPrinted("packet", printed.of_packet, packets, data)
        return packets

    def pieces_of(self, data, draw):
        while data:
            size = draw.choice((1, 2, 3, 7, 8, 9, 20, 64))
            yield data[:size]
            data = data[size:]

    def test_the_stored_inputs_of_the_fuzz_targets(self):
        draw = random.Random(1)
        self.check([(direction, list(self.pieces_of(data, draw))) for _, data in corpus() if data
                    for direction in (TO_MODULE, TO_HOST)])

    def test_packets_among_random_bytes(self):
        draw, packets, lines = random.Random(2), vector_packets(), []
        for _ in range(40):
            data = b"".join(draw.choice((packets[draw.randrange(24)], response(0xA3), draw.randbytes(draw.randrange(20)),
                                         b"\xff\xfe\x09\0", b"\xff\xfe\0\0" + bytes(8), b"\xff"))
                            for _ in range(30))
            lines.append((draw.choice((TO_MODULE, TO_HOST, UNKNOWN)), list(self.pieces_of(data, draw))))
        self.assertGreater(len(self.check(lines)), 200)

    def test_every_byte_a_piece_of_its_own(self):
        data = b"".join(vector_packets()[:12])
        self.assertEqual(len(self.check([(TO_HOST, [bytes([each]) for each in data])])), 12)

    def test_a_packet_says_where_it_began_and_where_it_is_shown(self):
        one = packet(bytes.fromhex("02 00 01 09 00"))
        self.alone("uart bytes", TO_HOST, one, one[:1], one[1:9], one[9:])
        asked = ("hostlink.part", "hostlink.part_of", "hostlink.shown_in", "hostlink.message")
        self.assertEqual(self.columns(*asked, words=("-2", "-Y", "frame")),
                         [["", "", "", "0x0002"], ["ff", "", "4", ""], [one[1:9].hex(), "2", "4", ""],
                          ["", "", "", "0x0002"]])


class Conversations(Dissected):
    """Recorded ones of the host."""

    def record(self, name, make):
        return {faults: make(self.capture, faults, steps) for faults, steps in conversations(name).items()}

    def test_on_a_line(self):
        interfaces = self.record("line", line_capture)
        found = self.dissect("-o", "hostlink.hostgivesup:0")
        self.assertEqual(len(found), len(self.capture.packets))
        packets = sum(self.check_direction(interface, direction, found)
                      for interface in interfaces.values() for direction in (TO_MODULE, TO_HOST))
        self.assertGreater(packets, 800)

    def check_direction(self, interface, direction, found):
        own = [(data, parts) for (on, way, data), parts in zip(self.capture.packets, found)
               if on == interface and way == direction]
        expected = [part for kind, part in reference.cut([data for data, _ in own], direction) if kind == "packet"]
        packets = [part for _, parts in own for part in of_kind(parts, "packet")]
        self.assertPrinted("packet", printed.of_packet, packets, expected)
        return len(packets)

    def test_on_a_bus(self):
        self.record("bus", bus_capture)
        packets, data = [], []
        for (_, _, whole), parts in zip(self.capture.packets, self.dissect()):
            found = of_kind(parts, "packet")
            packets += found
            data += [whole[:int(part.show("length"))] for part in found]
            self.assertEqual(len(found), reference.begins_with_a_packet(whole), whole.hex(" "))
        self.assertGreater(len(packets), 1500)
        self.assertPrinted("packet", printed.of_packet, packets, data)

    def test_every_answer_belongs_to_one_packet_and_says_so(self):
        line_capture(self.capture, "plain", conversations("line")["plain"])
        parts = [part for parts in self.dissect("-2", "-Y", "frame") for part in parts]
        asked = {part.show("response_in"): part.number for part in parts if part.show("response_in")}
        answering = [part for part in of_kind(parts, "packet") if part.word("frame_type") == "response"]
        self.assertGreater(len(answering), 50)
        self.assertEqual(asked, {str(part.number): int(part.show("response_to")) for part in answering
                                 if part.show("response_to")})
        for part in answering:
            self.assertNotEqual(part.show("response_to") is None, part.all("expert.stray") == [])

    def test_the_first_packets_read_like_this(self):
        line_capture(self.capture, "plain", conversations("line")["plain"][:12])
        self.assertEqual(self.columns("_ws.col.Source", "_ws.col.Info"), [
            ["module", "SetStateMessage PlayerVolume = 40"],
            ["host", "response, ack: accepted"],
            ["host", "SetStateResponseMessage PlayerVolume = 40"],
            ["module", "response, ack: accepted"],
            ["module", "GetStateMessage PlayerVolume, MetaTitle"],
            ["host", "response, ack: accepted"],
            ["host", "GetStateResponseMessage PlayerVolume = 40, MetaTitle = Nil"],
        ])


class Demo(Dissected):
    """demo.pcapng: hostlink-demo with a file of 512 bytes and the simulated host, a packet for each read of a program that
    stood between their terminals."""

    PATH = pathlib.Path(__file__).resolve().parent / "demo.pcapng"

    def test_says_what_the_demo_does(self):
        """In the order of examples/demo.cpp; the button is pressed while the file is on its way."""
        found = self.home.dissect(self.PATH)
        said = [part.element.get("showname") for parts in found for part in of_kind(parts, "message")]
        self.assertEqual([each.removeprefix("Host-link message: ") for each in said], [
            "GetStateMessage HostSystemInfo, HostFirmwareVersion",
            'GetStateResponseMessage HostSystemInfo = "Host simulator", HostFirmwareVersion = "1.0.0"',
            "GetStateMessage PlayerVolume, PlayerPlayStatus",
            "GetStateResponseMessage PlayerVolume = 30, PlayerPlayStatus = Stopped",
            "SubscribeStateMessage PlayerVolume, PlayerPlayStatus",
            "SubscribeStateResponseMessage PlayerVolume, PlayerPlayStatus",
            "SetStateMessage PlayerPlayStatus = Playing",
            "SetStateResponseMessage PlayerPlayStatus = Playing",
            "StateChangedMessage PlayerPlayStatus = Playing",
            "SetStateMessage PlayerVolume = 40",
            "SetStateResponseMessage PlayerVolume = 40",
            "StateChangedMessage PlayerVolume = 40",
            "InputEventMessage BUT_KeyPressed = 1",
            "InputEventMessage BUT_KeyReleased = 1",
            'DataTransfer DTT_FileName = "demo.bin", DTT_FileSize = 512, DTT_SequenceNum = 0, …',
            f"DataTransferResponseMessage DTT_SequenceNum = 0, DTT_DataCRC = {DEMO_CHECKSUM}, DTT_LastChunk = Nil, …",
        ])

    def test_loses_no_packet_and_no_answer(self):
        found = self.home.dissect(self.PATH, "-2", "-Y", "frame")
        parts = [part for each in found for part in each]
        self.assertEqual({kind_of(part) for part in parts}, {"packet", "message"})
        packets = of_kind(parts, "packet")
        size = sum(int(field.get("show")) for part in packets for field in part.all("length"))
        written = self.home.tshark("-r", self.PATH, "-T", "fields", "-e", "frame.len").split()
        self.assertEqual(size, sum(map(int, written)))
        asking = [part for part in packets if part.word("frame_type") == "message"]
        self.assertEqual([part.number for part in asking if part.show("response_in") is None], [])
        self.assertEqual([each for part in parts for each in part.findings()], [])


class Bus(Dissected):
    """Phases of transactions, edges of the line."""

    def test_an_exchange_that_the_host_asks_for(self):
        interface = self.capture.interface("i2c-1", "i2c transactions, address 0x28")
        message = packet(bytes.fromhex("01 80 01 09 00 CC 1E"), 5)
        self.capture.packet(interface, TO_MODULE, b"", comments=["line low"])
        self.capture.packet(interface, TO_HOST, irq(64, 1))
        self.capture.packet(interface, TO_MODULE, message.ljust(64, b"\xff"))
        self.capture.packet(interface, TO_HOST, response(0xA3, 2), comments=["verdict Accepted"])
        asked = ("hostlink.line", "hostlink.irq", "hostlink.filler", "hostlink.response_to", "hostlink.verdict",
                 "_ws.col.Info")
        self.assertEqual(self.columns(*asked), [
            ["low", "", "", "", "", "interrupt line low"],
            ["", "64", "", "", "", "irq, 64 bytes"],
            ["", "", "ff" * 47, "2", "", "SetStateResponseMessage PlayerVolume = 30"],
            ["", "", "", "3", "Accepted", "response, ack: accepted"]])

    def test_the_host_asks_for_more(self):
        self.alone("spi transactions", TO_HOST, irq(64, 1))
        for direction, data in ((TO_MODULE, irq(200, 8)), (TO_HOST, irq(200, 2)), (TO_MODULE, packet(bytes(190), 9))):
            self.capture.packet(0, direction, data)
        self.assertEqual(self.columns("hostlink.response_to", "hostlink.expert.unanswered"),
                         [["", ""], ["1", ""], ["", ""], ["3", ""]])

    def test_nobody_answers(self):
        self.alone("spi transactions", TO_HOST, packet(b"\2\0\0"))
        self.capture.packet(0, TO_MODULE, b"\xff" * 8)
        self.capture.packet(0, TO_HOST, packet(b"\2\0\0", 1))
        self.assertEqual(self.columns("_ws.col.Info", "hostlink.expert.unanswered"), [
            ["GetStateMessage", ""], ["8 bytes without a packet", ""], ["GetStateMessage", "1"]])


class Findings(Dissected):
    """What experts are told, on a serial line; `>` is module to host."""

    GET = packet(bytes.fromhex("02 00 01 09 00"), 0x11)

    def talk(self, *said, form="uart bytes"):
        """Each (direction, bytes, milliseconds since the one before)."""
        interface, now = self.capture.interface("ttyS1", form), EPOCH
        for direction, data, pause in said:
            now += 1000 * pause
            self.capture.packet(interface, TO_HOST if direction == ">" else TO_MODULE, data, now)

    def fields(self, *names, words=()):
        return self.columns(*(f"hostlink.{name}" for name in names), words=words)

    def test_refused_and_sent_again(self):
        self.talk((">", self.GET, 0), ("<", response(0x63), 3), (">", self.GET, 10), ("<", response(0xA3), 4))
        self.assertEqual(self.fields("response_in", "response_to", "response_time", "repeats", "attempt", "expert.nack",
                                     "expert.repeated", words=("-2", "-Y", "frame")), [
            ["2", "", "", "", "", "", ""],
            ["", "1", "0.003000000", "", "", "1", ""],
            ["4", "", "", "1", "2", "", "1"],
            ["", "3", "0.004000000", "", "", "", ""]])

    def test_an_acknowledgement_that_arrived_as_a_nack(self):
        """What the module got is not what the host sent: a recorder at the host sees ack, and the packet again."""
        self.talk((">", self.GET, 0), ("<", response(0xA3), 3), (">", self.GET, 10), ("<", response(0xA3), 4))
        self.assertEqual(self.fields("repeats"), [[""], [""], ["1"], [""]])

    def test_a_restart_is_no_repetition(self):
        first = packet(bytes.fromhex("02 00 01 09 00"), 0)
        self.talk((">", first, 0), ("<", response(0xA3), 3), (">", first, 10), ("<", response(0xA3), 4))
        self.assertEqual(self.fields("repeats"), [[""]] * 4)

    def test_ids_from_before_are_a_new_life(self):
        self.talk((">", self.GET, 0), ("<", response(0xA3), 3), (">", response(0xA3, 0), 1), (">", self.GET, 10))
        self.assertEqual(self.fields("repeats"), [[""]] * 4)

    def test_the_same_bytes_half_a_second_later_are_new(self):
        self.talk((">", self.GET, 0), ("<", response(0xA3), 3), (">", self.GET, 600))
        self.assertEqual(self.fields("repeats"), [[""]] * 3)

    def test_no_answer(self):
        other = packet(bytes.fromhex("02 00 01 0A 00"), 0x12)
        self.talk((">", self.GET, 0), (">", other, 1000), ("<", response(0xA3), 2))
        self.assertEqual(self.fields("expert.unanswered", "response_to", words=("-2", "-Y", "frame")),
                         [["1", ""], ["1", ""], ["", "2"]])
        self.assertIn("The packet before it, in capture packet 1, had no answer", self.tshark("-V"))

    def test_an_answer_to_nothing(self):
        self.talk(("<", response(0xA3), 0))
        self.assertEqual(self.fields("expert.stray"), [["1"]])

    def test_an_answer_is_rather_that_of_a_packet(self):
        self.talk((">", self.GET, 0), (">", bytes.fromhex("FF FE 09 00 23 01 00 00"), 1), ("<", response(0xA3), 1))
        self.assertEqual(self.fields("response_to", "expert.unanswered", "dropped"),
                         [["", "", ""], ["", "", "090023010000"], ["1", "", ""]])

    def test_answers_that_end_a_message(self):
        self.talk((">", self.GET, 0), ("<", response(0xE3), 1), (">", self.GET, 50), ("<", response(0x23), 1))
        self.assertEqual(self.fields("acknowledge", "expert.error"), [["", ""], ["3", "1"], ["", ""], ["0", "1"]])

    def test_frames_out_of_step(self):
        part = [packet(bytes([each]) * 5, 7, each, 0x03) for each in range(4)]
        self.talk((">", part[1], 0), (">", part[0], 0), (">", part[0], 600), (">", part[2], 0), (">", part[3], 0))
        text = self.tshark("-V")
        for line in ("packet 1 of frame 7 without those before it", "1 packet of frame 7 in capture packet 2 and on had no end",
                     "packet 2 of frame 7 where 1 is due", "packet 3 of frame 7 without those before it"):
            self.assertIn(f"Lost step: {line}", text)
        self.assertEqual(self.fields("expert.lost_step"), [["1"], [""], ["1"], ["1"], ["1"]])

    def test_what_the_module_keeps_it_puts_in_front(self):
        self.talk(("<", packet(b"\2\0", 7, 0, 0x03), 0), ("<", packet(b"\2\0\0", 7), 1500))
        self.assertIn("had no end: the module puts them before this one", self.tshark("-V"))

    def test_a_message_of_several_packets(self):
        message = bytes.fromhex("01 00 02 09 00 CC 1E 0C 00 C5 02 00 48 69")
        self.talk((">", packet(message[:6], 7, 0, 0x03), 0), ("<", response(0xA3), 1),
                  (">", packet(message[6:], 7, 1), 1), ("<", response(0xA3), 1))
        self.assertEqual(self.fields("message.packet", "message", "state", "value", "value.text")[2],
                         ["1,3", "0x0001", "0x0009,0x000c", "30", "Hi"])

    def test_a_packet_that_is_refused_stands_once_in_its_message(self):
        message = bytes.fromhex("01 00 02 09 00 CC 1E 0C 00 C5 02 00 48 69")
        first, last = packet(message[:6], 7, 0, 0x03), packet(message[6:], 7, 1)
        self.talk((">", first, 0), ("<", response(0x63), 1), (">", first, 10), ("<", response(0xA3), 1),
                  (">", last, 1), ("<", response(0x63), 1), (">", last, 10), ("<", response(0xA3), 1))
        rows_found = self.fields("message.packet", "message.size")
        self.assertEqual([rows_found[4], rows_found[6]], [["3,5", "14"], ["3,7", "14"]])

    def test_impossible_lengths(self):
        """The module takes what the length says and refuses it."""
        self.talk(("<", bytes.fromhex("FF FE 09 00 23 01 00 00 00"), 0), (">", response(0x63, 1), 1),
                  ("<", bytes.fromhex("FF FE 00 00 23 01 00 00") + self.GET, 1))
        self.assertEqual(self.fields("expert.length", "response_to", "dropped", "message"), [
            ["1", "", "", ""], ["", "1", "", ""], ["1", "", "000023010000", "0x0002"]])

    def test_half_a_packet_is_given_up_by_the_host_and_not_by_the_module(self):
        half = self.GET[:12]
        self.talk((">", half, 0), (">", self.GET, 150), ("<", half, 1000), ("<", self.GET, 150))
        self.assertEqual(self.fields("expert.lost_step", "state"), [["", ""], ["1,1", "0x0009"], ["", ""], ["1", "0xff09"]])
        self.assertEqual(self.fields("state", words=("-o", "hostlink.modulegivesup:100"))[3], ["0x0009"])

    def test_a_reply_and_its_time(self):
        asked, told = bytes.fromhex("02 00 02 09 00 0C 00"), bytes.fromhex("02 80 02 09 00 CC 1E 0C 00 C0")
        other = bytes.fromhex("02 80 01 09 00 CC 1E")
        self.talk((">", packet(asked, 1), 0), ("<", response(0xA3), 1), ("<", packet(other, 3), 1), (">", response(0xA3), 1),
                  ("<", packet(told, 4), 5), (">", response(0xA3), 1))
        self.assertEqual(self.fields("reply_in", "reply_to", "reply_time", words=("-2", "-Y", "hostlink.message")),
                         [["5", "", ""], ["", "", ""], ["", "1", "0.008000000"]])

    def test_messages_that_cannot_be_read(self):
        cases = {"02": "too short for a message id", "02 00": "too short for a message",
                 "02 00 02 09 00": "it ends before its 2 items do", "40 00 00": "there can be no message with this id",
                 "01 00 01 09 00 C1": "item 1 of 1 cannot be read: there is no encoding 193",
                 "01 00 02 09 00 C0 0C 00 C5 05 00": "item 2 of 2 cannot be read: the message ends within its value",
                 "01 00 01 0C 00 C5 05": "item 1 of 1 cannot be read: the message ends within its length",
                 "01 00 01 0C 00 CF 05 00": "item 1 of 1 cannot be read: the message ends within its value",
                 "01 00 02 0C 00 CF 00 00 00": "item 1 of 2 cannot be read: the message ends within its value"}
        for message in cases:
            self.alone("uart packets", TO_HOST, packet(bytes.fromhex(message)))
        said = [[each for part in of_kind(parts, "message") for each in part.said()] for parts in self.dissect()]
        self.assertEqual(said, [[why] for why in cases.values()])

    def test_names_that_nobody_has_given(self):
        self.talk((">", packet(bytes.fromhex("02 00 01 08 00"), 1), 0), (">", packet(bytes.fromhex("0A 00 01 08 00 C0"), 2), 0))
        self.assertEqual(self.fields("message", "state", "tag", "expert.unknown"),
                         [["0x0002", "0x0008", "", "1"], ["0x000a", "", "0x0008", "1"]])


class Filters(Dissected):
    def setUp(self):
        super().setUp()
        self.alone("uart bytes", TO_HOST, packet(bytes.fromhex("01 00 02 09 00 CC 1E 0C 00 C5 02 00 48 69"), 1),
                   packet(bytes.fromhex("04 00 01 0B 00 D2 02 00 00 00"), 2),
                   packet(bytes.fromhex("04 00 01 09 00 CF FF FF FF FF FF FF FF FF"), 3))
        self.capture.packet(0, TO_MODULE, response(0xA3))

    def passed(self, display_filter):
        return [int(row[0]) for row in self.columns("frame.number", words=("-Y", display_filter))]

    def test_by_name_and_by_number(self):
        for display_filter, expected in (
                ('hostlink.state == "PlayerVolume"', [1, 3]),
                ('hostlink.state == 9 && hostlink.message == "StateChangedMessage"', [3]),
                ('hostlink.value.name == "Playing"', [2]),
                ('hostlink.item == "PlayerVolume = 30" && hostlink.value == 30 && hostlink.encoding == "Bin16"', [1]),
                ("hostlink.value.unsigned == 18446744073709551615", [3]),
                ('hostlink.value.text contains "Hi" && hostlink.value.size == 2', [1]),
                ('hostlink.frame_type == "response" && hostlink.direction == "host to module"', [4]),
                ('hostlink.wire == "uart" && hostlink.flags.ack == 1', [4]),
                ("hostlink && _ws.expert", [2, 3]),  # those before them had no answer
                ('hostlink.state == "Undefined"', [])):
            self.assertEqual(self.passed(display_filter), expected, display_filter)


class Fields(Dissected):
    def test_stand_where_their_bytes_are(self):
        packets = vector_packets()[:6] + [packet(message) for message in vector_messages()[::20]] + [irq(64), response(0xA3)]
        for one in packets:
            self.alone("uart packets", TO_HOST, one)
        looked_at = 0
        for parts, one in zip(self.dissect(), packets):
            for field in (field for part in parts for field in part.fields):
                size, at = int(field.get("size") or 0), int(field.get("pos") or 0)
                if size and field.get("value") and not field.get("unmaskedvalue"):
                    self.assertEqual(field.get("value"), one[at:at + size].hex(), field.get("name"))
                    looked_at += 1
        self.assertGreater(looked_at, 500)

    def test_offsets_of_a_message(self):
        """SetState PlayerVolume = 30 and MetaTitle "Hi": offsets counted by hand from the packet's first byte."""
        self.alone("uart packets", TO_HOST, packet(bytes.fromhex("01 00 02 09 00 CC 1E 0C 00 C5 02 00 48 69")))
        part = of_kind(self.dissect()[0], "message")[0]
        places = [(each.get("name").removeprefix("hostlink."), int(each.get("pos")), int(each.get("size")))
                  for each in part.fields if each.get("name").startswith("hostlink.") and int(each.get("size"))]
        self.assertEqual(places, [
            ("message", 8, 2), ("message.count", 10, 1),
            ("item", 11, 4), ("state", 11, 2), ("encoding", 13, 1), ("value", 14, 1),
            ("item", 15, 7), ("state", 15, 2), ("encoding", 17, 1), ("value.size", 18, 2), ("value.bytes", 20, 2),
            ("value.text", 20, 2)])


class Captures(Dissected):
    """Other files than the recorder's, and other ways of reading."""

    GET = packet(bytes.fromhex("02 00 01 09 00"))

    def test_a_capture_without_directions_and_interfaces(self):
        interface = self.capture.interface("x", "something else")
        for data in (self.GET[:9], self.GET[9:], response(0xA3)):
            self.capture.packet(interface, UNKNOWN, data)
        self.capture.save(self.path)
        plain = self.folder / "plain.pcap"
        subprocess.run(["editcap", "-F", "pcap", self.path, plain], check=True, capture_output=True)
        for path in (self.path, plain):
            messages = [part.word("message") for parts in self.home.dissect(path) for part in of_kind(parts, "message")]
            self.assertEqual(messages, ["GetStateMessage"])

    def test_packets_that_are_whole_and_nobody_says_so(self):
        self.alone("something else", UNKNOWN, self.GET[:9], self.GET)
        self.assertEqual(self.columns("hostlink.message", words=("-o", "hostlink.form:A packet, or a phase of a bus "
                                                                 "transaction, each")), [[""], ["0x0002"]])

    def test_another_link_type(self):
        interface = self.capture.interface("ttyS1", "uart bytes", 148)
        self.capture.packet(interface, TO_HOST, self.GET)
        self.assertEqual(self.columns("hostlink.message"), [[""]])
        table = 'uat:user_dlts:"User 1 (DLT=148)","hostlink","0","","0",""'
        self.assertEqual(self.columns("hostlink.message", words=("-o", table)), [["0x0002"]])

    def test_link_type_left_to_others(self):
        self.alone("uart bytes", TO_HOST, self.GET)
        left = ("-o", "hostlink.claim:FALSE")
        self.assertEqual(self.columns("hostlink.message", words=left), [[""]])
        table = 'uat:user_dlts:"User 0 (DLT=147)","hostlink","9","","0",""'
        asked = ("hostlink.message", "frame.protocols")  # the table says that 9 bytes stand before it
        self.assertEqual(self.columns(*asked, words=(*left, "-o", table)), [["", "user_dlt:data:hostlink"]])

    def test_two_passes_show_the_same(self):
        line_capture(self.capture, "noise", conversations("line")["noise"])
        self.assertEqual(self.tshark("-T", "fields", "-e", "_ws.col.Info", "-2"), self.tshark("-T", "fields", "-e", "_ws.col.Info"))

    def test_statistics(self):
        self.alone("uart bytes", TO_HOST, self.GET)
        for direction, data in ((TO_MODULE, response(0x63)), (TO_HOST, self.GET), (TO_MODULE, response(0xA3)),
                                (TO_MODULE, b"\0\0" + packet(bytes.fromhex("02 80 01 09 00 C0")))):
            self.capture.packet(0, direction, data)
        self.assertEqual(self.tshark("-q", "-o", "hostlink.statistics:TRUE"), """\
wire 0 (uart bytes), module to host
  packets       2, 30 bytes: message 2
  responses     none
  messages      GetStateMessage 1
  answer times  2: mean 1.000 ms, longest 1.000 ms
  trouble       repeated 1, unanswered 0, lost step 0, bad packets 0, bytes dropped 0

wire 0 (uart bytes), host to module
  packets       3, 32 bytes: message 1, response 2
  responses     nack: refused, try again 1, ack: accepted 1
  messages      GetStateResponseMessage 1
  answer times  0: mean 0.000 ms, longest 0.000 ms
  trouble       repeated 0, unanswered 0, lost step 0, bad packets 0, bytes dropped 2
""")


class Installation(Dissected):
    def install(self, prefix):
        """Where an installation for Wireshark alone puts plugin and extcap, below a folder that a packager names."""
        root = self.folder / "root"
        subprocess.run(["cmake", "--install", BUILD, "--component", "wireshark", "--prefix", prefix], check=True,
                       capture_output=True, env={**os.environ, "DESTDIR": str(root)})
        extcap, plugin = sorted((path for path in root.rglob("*") if path.is_file()), key=lambda path: path.name)
        self.assertEqual((plugin.name, extcap.name), ("hostlink.lua", "hostlink-extcap"))
        self.assertEqual(plugin.read_bytes(), PLUGIN.read_bytes())
        self.assertIn(f"exec '{prefix}/bin/hostlink' extcap", extcap.read_text())
        self.assertTrue(os.access(extcap, os.X_OK))
        return tuple("/" + str(path.parent.relative_to(root)) for path in (plugin, extcap))

    def test_where_wireshark_looks(self):
        folders = subprocess.run(["tshark", "-G", "folders"], capture_output=True, text=True, check=True).stdout
        looked_at = tuple(re.search(rf"^{title}:\s*(.*)$", folders, re.MULTILINE)[1]
                          for title in ("Global Lua Plugins", "Extcap path"))
        self.assertEqual(self.install("/usr/local"), looked_at)

    def test_in_a_place_of_ones_own(self):
        plugins, extcap = self.install("/opt/zent")
        self.assertRegex(plugins, r"^/opt/zent/lib[^ ]*/wireshark/plugins$")
        self.assertEqual(extcap, plugins.replace("plugins", "extcap"))


def main():
    global BUILD, PRINTER
    BUILD, PRINTER, *classes = sys.argv[1:]
    if shutil.which("tshark") is None:
        print("SKIPPED: there is no tshark here; scripts/install-packages.sh dissector installs it")
        return SKIPPED
    return 0 if unittest.main(argv=[sys.argv[0], *classes], exit=False).result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
