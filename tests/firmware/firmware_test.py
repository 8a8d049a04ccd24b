"""firmware_test.py FIRMWARE BUILD TEST: the firmware in the emulator, over its own line, with an independent module's side
or the project's demo at the other end.

A board that hangs fails its test: everything waits within bounds, and the emulator is killed at the end whatever it does.
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib
from types import SimpleNamespace

sys.dont_write_bytecode = True
TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "firmware"))
import sizes
import vectors
from emulator import EMULATOR, Board, address_of, clock_in, memory_words
from module import (ACK, BIN, CHANGED, DATA, EVENT, GET, LAST, LED, MESSAGE, NACK, RESET, RESPONSE, SET, SUBSCRIBE,
                    TUNNEL, TUNNEL_RESPONSE, U8, U16, U32, UNSUBSCRIBE, UNSUPPORTED, Module, ids, items_of, number, packet, text,
                    values)
from relay import Relay
from stepper import Stepper

VOLUME, PLAY_TIME, PLAY_STATUS, BALANCE = 0x0009, 0x000A, 0x000B, 0x0019
NAME, MAX_VOLUME, CONTROL = 0x0311, 0xF311, 0x0004
SYSTEM_INFO, FIRMWARE = 0xF300, 0xF001
STOPPED, PLAYING, PAUSED = 0, 2, 3
NIL, I8, U64 = 192, 208, 207
PRESSED, RELEASED = 1, 0
PATIENT = 60  # seconds for one answer, or for the start of the emulator: the machine may be busy


def expect(what, seen, wanted):
    assert seen == wanted, "%s: %r instead of %r" % (what, seen, wanted)


class Tried:
    """Where the firmware and the programs were built."""

    def __init__(self, firmware, build):
        self.images, self.build = pathlib.Path(firmware) / "images", pathlib.Path(build)

    def board(self, name="mps2-an385-patient", *more, given=()):
        """Where the module's acknowledgements get lost it cannot be the patient one."""
        return Board(self.images / (name + ".elf"), *more, given=given)

    def demo(self, path, packet_size, file_size, timeout=5000):
        done = subprocess.run([self.build / "bin/hostlink-demo", "--device", path, "--max-packet-size", str(packet_size),
                               "--file-size", str(file_size), "--response-timeout", str(timeout),
                               "--patience", str(PATIENT)],
                              capture_output=True, text=True, timeout=800, check=False)
        print(done.stdout[-300:], done.stderr)
        expect("exit code", done.returncode, 0)
        assert "All went well." in done.stdout, done.stdout


class Conversation(Module):
    """A module at the board's line, after its reset."""

    def __init__(self, board, packet_size=64):
        super().__init__(board.path, packet_size, timeout=PATIENT)
        assert self.reset(), "no answer to a reset"

    def get(self, *states):
        return self.ask(ids(GET, *states), GET | RESPONSE, PATIENT)

    def set(self, *items):
        return self.ask(values(SET, *items), SET | RESPONSE, PATIENT)

    def subscribe(self, *states):
        wanted = ids(SUBSCRIBE | RESPONSE, *states)
        assert self.send(ids(SUBSCRIBE, *states))
        self.next(lambda message: message == wanted, PATIENT)

    def told(self):
        """The items of the next message about changes."""
        return items_of(self.next(lambda message: message[:2] == b"\x04\x00", PATIENT))[1]

    def expect_no_more(self):
        """It answers in order: nothing else stands before the answer to this."""
        self.get(VOLUME)
        expect("messages", [message.hex(" ") for message in self.messages], [])


class Pressing:
    """Somebody who presses a button twice a second."""

    def __init__(self, board):
        self.over = threading.Event()
        self.thread = threading.Thread(target=self.press, args=(board,))

    def press(self, board):
        while not self.over.wait(0.5):
            board.press(4)

    def __enter__(self):
        self.thread.start()

    def __exit__(self, *_):
        self.over.set()
        self.thread.join()


# -- the demo

def demo_with_button(tried, image, packet_size, file_size):
    with tried.board(image) as board, Pressing(board):
        tried.demo(board.path, packet_size, file_size)
        assert board.runs()


def DemoOnCortexM3(tried):
    demo_with_button(tried, "mps2-an385", 256, 65536)


def DemoOnCortexM3WithSmallPackets(tried):
    demo_with_button(tried, "mps2-an385-small", 64, 8192)


def DemoOnCortexM4(tried):
    demo_with_button(tried, "mps2-an386", 64, 8192)


def DemoOnCortexM33(tried):
    demo_with_button(tried, "mps2-an505", 256, 8192)


def DemoOnCortexM0(tried):
    """Its button presses itself: nobody else can."""
    with tried.board("microbit-pressing") as board:
        tried.demo(board.path, 64, 8192)


def DemoOverALineThatLosesBytes(tried):
    """Lost, not changed: packets bear no checksum, so what changes inside a message may change what it means."""
    with tried.board("mps2-an385") as board, Pressing(board), Relay(board.path, ["lose"], 0.001, seed=1) as relay:
        relay.disturb(6)
        tried.demo(relay.path, 64, 8192, 2000)
        expect("faults", relay.faults, 6)


def DemoForPeople(tried):
    """What `make demo HOST=firmware` runs."""
    done = subprocess.run([TOP / "scripts/demo.sh", tried.build, "uart", "firmware", "--file-size", "4096",
                           "--patience", str(PATIENT)], capture_output=True, text=True, timeout=800, check=False,
                          env={**os.environ, "FIRMWARE_BUILD": str(tried.images.parent)})
    print(done.stdout[-300:], done.stderr)
    expect("exit code", done.returncode, 0)
    assert "All went well." in done.stdout and "What to try next" in done.stdout, done.stdout


# -- the checker of hosts

def await_start(clock):
    """For the checker, a clock that stands still for 10 s is that of a board that hangs."""
    file, offset = clock.rsplit(":", 1)
    deadline = time.monotonic() + PATIENT
    with open(file, "rb", buffering=0) as memory:
        while not any(os.pread(memory.fileno(), 4, int(offset))):
            assert time.monotonic() < deadline, "the board does not start"
            time.sleep(0.01)


class Checked:
    """A board and the checker at its line, which goes by the board's clock: a busy machine is no slow host."""

    def __init__(self, tried):
        self.image, self.build = tried.images / "mps2-an385-psram.elf", tried.build
        self.folder = tempfile.TemporaryDirectory(prefix="board-")
        self.memory = pathlib.Path(self.folder.name) / "memory"
        self.board = Board(self.image, *memory_words(self.memory), listen_at=pathlib.Path(self.folder.name) / "line")
        self.clock = clock_in(self.memory, self.image)
        await_start(self.clock)

    def check(self, *arguments):
        words = [self.build / "bin/zent-hostcheck", "--device", self.board.path, "--clock", self.clock, "--json",
                 *arguments]
        done = subprocess.run(words, capture_output=True, text=True, timeout=800, check=False)
        return done.returncode, done.stdout, done.stderr

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.board.close()
        self.folder.cleanup()


def passes_all_of(tried, *groups):
    with Checked(tried) as checked:
        only = [word for group in groups for word in ("--only", group)]
        code, out, err = checked.check("--destructive", "--load-time", "2", *only)
    print(out, err)
    results = json.loads(out)["checks"]
    expect("not passed", [(one["name"], one["text"]) for one in results if one["outcome"] != "pass"], [])
    expect("exit code", code, 0)
    assert len(results) > 20, len(results)


def CheckerPassesAnswersAndBytes(tried):
    passes_all_of(tried, "answers", "bytes")


def CheckerPassesFramesSizesAndResets(tried):
    passes_all_of(tried, "frames", "reset", "sizes")


def CheckerPassesOwnPacketsAndTransfers(tried):
    passes_all_of(tried, "own packets", "transfers")


def CheckerPassesMessagesStatesAndLoad(tried):
    passes_all_of(tried, "messages", "states", "load")


def CheckerPassesABoardThatAPersonHasStarted(tried):
    """As docs/host-check.md tells it."""
    with tempfile.TemporaryDirectory(prefix="board-") as folder:
        line, memory = pathlib.Path(folder) / "line", pathlib.Path(folder) / "memory"
        words = [sys.executable, "-B", TOP / "firmware" / "emulator.py", tried.images / "mps2-an385-psram.elf",
                 "--socket", line, "--memory", memory]
        with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as emulator:
            try:
                clock = emulator.stdout.readline().split()[-1]
                expect("said", emulator.stdout.readline(), f"listening on {line}\n")
                await_start(clock)
                done = subprocess.run([tried.build / "bin/zent-hostcheck", "--device", line, "--clock", clock, "--only",
                                       "response-form"], capture_output=True, text=True, timeout=800, check=False)
                emulator.terminate()
                expect("exit code of the emulator", emulator.wait(PATIENT), 0)
            finally:
                emulator.kill()
        print(done.stdout, done.stderr)
        expect("exit code", done.returncode, 0)
        assert not line.exists(), "the socket is left behind"


def CheckerPassesNothingOfAHungBoard(tried):
    with Checked(tried) as checked:
        checked.board.process.send_signal(signal.SIGSTOP)
        code, out, err = checked.check("--only", "response-form")
    expect("exit code", code, 2)
    expect("passed", json.loads(out)["passed"], 0)
    assert "the host's clock has stood still" in err, err


# -- what it says

def StatesAreHeldWithinTheirLimits(tried):
    with tried.board() as board, Conversation(board) as module:
        expect("at first", module.get(SYSTEM_INFO, FIRMWARE, VOLUME, 0x7777),
               [(SYSTEM_INFO, BIN, b"Example product"), (FIRMWARE, BIN, b"1.0.0"), (VOLUME, U8, 30), (0x7777, NIL, None)])
        for item, held in ((number(VOLUME, 100), 100), (number(VOLUME, 101), 100), (number(VOLUME, 0), 0),
                           (number(VOLUME, 40, U16), 40), (number(VOLUME, 256, U16), 40),
                           (struct.pack("<HBQ", VOLUME, U64, 41), 41), (struct.pack("<HBQ", VOLUME, U64, 1 << 32), 41),
                           (struct.pack("<HBb", VOLUME, I8, -1), 41), (text(VOLUME, b"7"), 41),
                           (struct.pack("<HB", VOLUME, NIL), 41)):
            expect("volume after " + item.hex(" "), module.set(item), [(VOLUME, U8, held)])
        for item, held in ((struct.pack("<HBb", BALANCE, I8, -50), -50), (struct.pack("<HBb", BALANCE, I8, -51), -50),
                           (struct.pack("<HBh", BALANCE, 209, -1), -1), (number(BALANCE, 50), 50),
                           (number(BALANCE, 200), 50)):
            expect("balance after " + item.hex(" "), module.set(item), [(BALANCE, I8, held)])
        for word, held in ((b"", b""), (b"x" * 64, b"x" * 64), (b"y" * 65, b"x" * 64), (b"a\0b", b"a\0b")):
            expect("name", module.set(text(NAME, word)), [(NAME, BIN, held)])
        expect("not to be set", module.set(text(SYSTEM_INFO, b"mine"), number(0x7777, 1)),
               [(SYSTEM_INFO, BIN, b"Example product"), (0x7777, NIL, None)])
        module.expect_no_more()


def ChangesAreToldOnceAndInOrder(tried):
    with tried.board() as board, Conversation(board) as module:
        module.set(number(VOLUME, 20))  # before anybody asked
        module.subscribe(VOLUME, PLAY_STATUS)
        for volume in range(21, 51):
            module.set(number(VOLUME, volume))
            module.set(number(VOLUME, volume))  # no change
        expect("volumes", [module.told() for _ in range(21, 51)], [[(VOLUME, U8, each)] for each in range(21, 51)])
        module.set(number(MAX_VOLUME, 10))  # which nobody has subscribed to, and what follows from it
        expect("limited", module.told(), [(VOLUME, U8, 10)])
        assert module.send(ids(UNSUBSCRIBE, VOLUME))
        expect("unsubscribed", module.next(seconds=PATIENT), ids(UNSUBSCRIBE | RESPONSE, VOLUME))
        module.set(number(VOLUME, 5), number(PLAY_STATUS, PAUSED))
        expect("the other", module.told(), [(PLAY_STATUS, U8, PAUSED)])
        assert module.reset()
        module.set(number(PLAY_STATUS, STOPPED))
        module.expect_no_more()


def PlayerPlaysOn(tried):
    with tried.board() as board, Conversation(board) as module:
        module.subscribe(PLAY_TIME)
        module.set(number(PLAY_STATUS, PLAYING))
        expect("a second later", module.told(), [(PLAY_TIME, U32, 1)])
        module.set(number(CONTROL, 1))
        expect("stopped", module.get(PLAY_STATUS, PLAY_TIME), [(PLAY_STATUS, U8, STOPPED), (PLAY_TIME, U32, 0)])


def ButtonsAreToldAndDoWhatTheyShould(tried):
    with tried.board() as board, Conversation(board) as module:
        module.subscribe(VOLUME, PLAY_STATUS)
        for button, change in ((2, (VOLUME, U8, 32)), (3, (VOLUME, U8, 30)), (1, (PLAY_STATUS, U8, PLAYING)),
                               (1, (PLAY_STATUS, U8, PAUSED))):
            board.press(button)
            told = [items_of(module.next(seconds=PATIENT)) for _ in range(3)]
            expect("button %d" % button, told,
                   [(EVENT, [(PRESSED, U16, button)]), (EVENT, [(RELEASED, U16, button)]), (CHANGED, [change])])
        module.expect_no_more()


def LinesPressButtons(tried):
    """Two that come at once are two."""
    words = [sys.executable, "-B", TOP / "firmware" / "emulator.py", tried.images / "mps2-an385-patient.elf"]
    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as emulator:
        try:
            path = emulator.stdout.readline().decode().split()[-1]
            with Conversation(SimpleNamespace(path=path)) as module:
                module.subscribe(VOLUME)
                emulator.stdin.write(b"2\n12\n2\n")
                emulator.stdin.flush()
                for volume in (32, 34):
                    expect("told", module.told(), [(VOLUME, U8, volume)])
        finally:
            emulator.kill()


def RequestsThatCannotBeReadAreAnswered(tried):
    unsupported = struct.pack("<HB", UNSUPPORTED, 0)
    with tried.board() as board, Conversation(board) as module:
        for request in (values(0x1F), values(LED, number(0, 1)), b"\x01", b"\x01\x00",
                        struct.pack("<HB", SET, 2) + number(VOLUME, 77), struct.pack("<HB", GET, 2) + b"\x09\x00",
                        values(SET, number(VOLUME, 78), struct.pack("<HBB", PLAY_STATUS, 0xC3, 1)),
                        struct.pack("<HB", DATA, 1), struct.pack("<HB", TUNNEL, 1)):
            assert module.send(request)
            expect("answer to " + request.hex(" "), module.next(seconds=PATIENT), unsupported)
        assert module.send(values(SET | RESPONSE))  # a response is not answered
        expect("no items", module.set(), [])
        expect("volume", module.get(VOLUME), [(VOLUME, U8, 30)])
        expect("255 states", module.get(*[VOLUME] * 255), [(VOLUME, U8, 30)] * 255)
        assert module.send(ids(GET, *[SYSTEM_INFO] * 255))  # longer than it can say
        expect("answer to 255 texts", module.next(seconds=PATIENT), unsupported)
        module.expect_no_more()


def checksum(data):
    """CRC-32/MPEG-2 of the data, each group of four bytes reversed, what lacks to whole groups zeros."""
    data += bytes(-len(data) % 4)
    register = 0xFFFFFFFF
    for at in range(0, len(data), 4):
        for byte in reversed(data[at:at + 4]):
            register ^= byte << 24
            for _ in range(8):
                register = (register << 1 ^ (0x04C11DB7 if register >> 31 else 0)) & 0xFFFFFFFF
    return register


def FilesAreTakenAndChecked(tried):
    name, sequence, data, last, crc, abort, size = range(7)
    first, second = bytes(range(250)), b"\xff\xfe" * 511 + b"\x01"
    whole = first + bytes(2) + second + bytes(1)  # each chunk padded

    def chunk(count, content, *more, claimed=None):
        return values(DATA, *more, number(sequence, count, U16), text(data, content),
                      number(crc, checksum(content) if claimed is None else claimed, U32))

    end = struct.pack("<HB", last, NIL)
    with tried.board() as board, Conversation(board, 256) as module:
        def ask(request):
            return module.ask(request, DATA | RESPONSE, PATIENT)

        def taken(count, content):
            return [(sequence, U16, count), (crc, U32, checksum(content))]

        expect("no file yet", ask(chunk(0, first)), taken(0, first) + [(abort, NIL, None)])
        for _ in range(2):  # the second time in place of an answer that was lost
            expect("first", ask(chunk(65535, first, text(name, b"a"))), taken(65535, first))
        expect("damaged", ask(chunk(0, second, claimed=7)), taken(0, second))
        for _ in range(2):
            expect("last", ask(chunk(0, second, end)),
                   taken(0, second) + [(last, NIL, None), (size, U32, 1273), (crc, U32, checksum(whole))])
        expect("another", ask(chunk(0, first, text(name, b"b"))), taken(0, first))
        expect("one left out", ask(chunk(2, first)), taken(2, first) + [(abort, NIL, None)])
        expect("dropped", ask(chunk(1, first)), taken(1, first) + [(abort, NIL, None)])


def TunnelsEcho(tried):
    connection, data, command = number(0, 7, U16), text(1, b"hello"), number(2, 1)
    with tried.board() as board, Conversation(board) as module:
        for items, result in (((connection, data), 0), ((connection, command), 0), ((connection,), 1), ((data,), 2)):
            wanted = [(0, U16, 7)] if connection in items else []
            expect("answer", module.ask(values(TUNNEL, *items), TUNNEL_RESPONSE, PATIENT), wanted + [(1, U8, result)])
        expect("echo", [items_of(module.next(seconds=PATIENT))], [(TUNNEL, [(0, U16, 7), (1, BIN, b"hello")])])
        module.expect_no_more()


# -- the wire

def VectorsOnCortexM3(tried):
    play_vectors(tried, "mps2-an385")


def VectorsOnCortexM0(tried):
    play_vectors(tried, "microbit")


def play_vectors(tried, image):
    with tried.board(image) as board, Module(board.path, timeout=PATIENT) as module:
        for vector in vectors.read():
            vectors.play(vector, module)


def PacketsOf256Bytes(tried):
    packets_of(tried, "mps2-an385-patient", 256)


def PacketsOf64Bytes(tried):
    packets_of(tried, "mps2-an385-small", 64)


def packets_of(tried, image, size):
    """It takes them up to its size and uses it, and refuses longer ones at once."""
    with tried.board(image) as board, Conversation(board, size) as module:
        word = bytes(range(64))
        module.set(text(NAME, word))
        expect("name, ten times", module.get(*[NAME] * 10), [(NAME, BIN, word)] * 10)
        expect("longest packet", module.longest_packet, size)
        request = values(SET, *[number(VOLUME, 50)] * 255)  # 1023 bytes
        expect("long request", module.ask(request, SET | RESPONSE, PATIENT), [(VOLUME, U8, 50)] * 255)
        module.write(packet(LAST | MESSAGE, 99, 0, bytes(size - 9)))
        expect("one byte longer", module.response(), NACK)  # its rest is noise
        assert module.reset()
        expect("volume", module.get(VOLUME), [(VOLUME, U8, 50)])


def ResetInTheMiddleOfAFrame(tried):
    with tried.board() as board, Conversation(board, 32) as module:
        request = values(SET, *[number(VOLUME, 77)] * 20)  # 83 bytes: four packets
        for cut in range(1, 4):
            module.frame_id = 0
            for each in module.packets(request)[:cut]:
                assert module.send_packet(each)
            assert module.reset()
            module.responses.clear()
            module.write(module.packets(request)[cut])  # the rest of a frame that is gone
            expect("rest", module.response(), NACK)
            expect("volume", module.get(VOLUME), [(VOLUME, U8, 30)])
        half = packet(LAST | MESSAGE, 5, 0, values(SET, number(VOLUME, 78)))[:12]
        module.write(half)  # in the middle of a packet: it is given up first
        expect("half", module.response(), NACK)
        assert module.reset()
        expect("volume", module.get(VOLUME), [(VOLUME, U8, 30)])
        module.expect_no_more()


def WhatComesWhileTheLineIsSetUpIsHeard(tried):
    """It waits on the line, and enters between any two instructions."""
    for image in ("mps2-an385", "mps2-an505", "microbit"):
        with Stepper() as stepper, tried.board(image, *stepper.words, given=[stepper.there.fileno()]) as board:
            with Module(board.path, timeout=PATIENT) as module:
                module.write(packet(LAST | RESET, 0))
                stepper.run_to(address_of("boardInit", tried.images / (image + ".elf")))
                for _ in range(300):  # boardInit is shorter
                    stepper.step()
                stepper.let_run()
                expect(image, module.response(), ACK)


def TenThousandMessagesEachWay(tried):
    many = 10000
    with tried.board() as board, Conversation(board, 256) as module:
        got = []
        for i in range(many):
            assert module.send(values(SET, text(NAME, b"%d" % i))), i
            got += module.messages
            module.messages.clear()
        while len(got) < many:
            got.append(module.next(seconds=PATIENT))
        wanted = [values(SET | RESPONSE, text(NAME, b"%d" % i)) for i in range(many)]
        assert got == wanted, next((i, a.hex(" "), b.hex(" ")) for i, (a, b) in enumerate(zip(got, wanted)) if a != b)
        expect("bytes that were no packet", module.counts["skipped"], 0)
        module.expect_no_more()


def signed(count):
    """A text that tells when it is damaged."""
    return b"%d %08x" % (count, zlib.crc32(b"%d" % count))


def count_of(name):
    """None for a damaged one."""
    count = name.split()[0] if name.split() else b""
    return int(count) if count.isdigit() and name == signed(int(count)) else None


def NoiseNeverBringsBackWhatIsOver(tried):
    """What was accepted is held until something later is; without a fault all is accepted. Afterwards all is well.

    Nothing is lost on the way to the module: what it is told there has happened."""
    most = 6
    for seed in (1, 2):
        with tried.board("mps2-an385") as board, Relay(board.path, ("lose", "change", "insert"), 0.01, seed) as relay:
            with Conversation(relay) as module:
                module.timeout = 5
                relay.disturb(most)
                accepted, undisturbed = 0, 0
                for count in range(1, 31):
                    before = relay.faults
                    taken = module.send(values(SET, text(NAME, signed(count))))
                    undisturbed = undisturbed + 1 if relay.faults == before else 0
                    assert taken or undisturbed < 2, (seed, count)  # the first may still meet what a fault has left
                    accepted = count if taken and undisturbed else accepted
                    held = held_name(module, relay)
                    assert held is None or accepted <= held <= count, (seed, accepted, held, count)
                expect("faults", relay.faults, most)  # else another seed is needed
                module.set(text(NAME, b"well"))
                expect("afterwards", module.get(NAME), [(NAME, BIN, b"well")])


def held_name(module, relay):
    """The count that is held; None for a damaged name. Asked until no fault has met the question."""
    for _ in range(20):
        module.messages.clear()
        before = relay.faults
        module.send(ids(GET, NAME))
        try:
            answer = module.next(lambda message: message[:2] == b"\x02\x80", 2)
        except AssertionError:
            continue  # a fault has made something else of the question
        items = items_of(answer)[1]
        if relay.faults == before and len(items) == 1 and items[0][0] == NAME:
            return count_of(items[0][2]) if items[0][2] != b"Kitchen" else 0
    raise AssertionError("the board does not answer any more")


def HungBoardIsKilledAndFails(tried):
    with tried.board() as board, Conversation(board) as module:
        module.timeout = 0.5
        board.process.send_signal(signal.SIGSTOP)
        assert not module.send(ids(GET, VOLUME))
        expect("unanswered", module.counts["unanswered"], 1)
    expect("how it ended", board.process.returncode, -signal.SIGKILL)


# -- what it takes

def SizesAreWithinThoseOnThePage(tried):
    done = subprocess.run([sys.executable, "-B", TOP / "firmware" / "sizes.py", "--check", "--build", tried.images.parent],
                          check=False)
    expect("exit code", done.returncode, 0)


def PortsAreShort(tried):
    """What stands in a board's folder, but for what only tests build."""
    boards = TOP / "firmware" / "boards"
    for board, files in (("microbit", ("Board.c", "microbit.ld")), ("mps2", ("Board.c", "an385.h", "mps2-an385.ld")),
                         ("mps2", ("Board.c", "an505.h", "mps2-an505.ld"))):
        lines = sum(len((boards / board / file).read_text(encoding="utf-8").splitlines()) for file in files)
        print(board, lines)
        assert lines <= 150, (board, lines)


def GrowthByMoreThanTwoPercentIsTold(tried):
    rows = sizes.table(tried.images.parent)
    page = sizes.PAGE
    for times, told in ((0.985, 0), (0.97, len(rows))):
        smaller = {cpu: [int(cell * times) if cell == cells[0] else cell for cell in cells] for cpu, cells in rows.items()}
        with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
            file.write("head\n" + sizes.BEGIN + sizes.written(smaller) + sizes.END + "tail\n")
            file.flush()
            sizes.PAGE = pathlib.Path(file.name)
            grown = list(sizes.growths(rows))
        sizes.PAGE = page
        expect("what has grown", len(grown), told)
        assert all("core and engine: code" in each for each in grown), grown


class Monitor:
    """The emulator's own console, from which a board's memory can be read."""

    def __init__(self):
        self.here, self.there = socket.socketpair()
        self.words = ["-chardev", f"socket,id=monitor,fd={self.there.fileno()}", "-mon", "chardev=monitor,mode=control"]
        self.answers = self.here.makefile("r", encoding="utf-8")

    def ask(self, command, **arguments):
        self.here.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())
        while True:
            answer = json.loads(self.answers.readline())
            assert "error" not in answer, answer
            if "return" in answer:
                return answer["return"]

    def memory(self, begin, end):
        with tempfile.NamedTemporaryFile() as file:
            self.ask("pmemsave", val=begin, size=end - begin, filename=file.name)
            return file.read()

    def close(self):
        for each in (self.answers, self.here, self.there):
            each.close()


def StackStaysWithinItsWorstCase(tried):
    """Memory is zero at first: where the stack has been is what is not zero any more."""
    image = tried.images / "mps2-an385-patient.elf"
    begin, end = address_of("bssEnd", image), address_of("stackTop", image)
    monitor = Monitor()
    try:
        with tried.board("mps2-an385-patient", *monitor.words, given=[monitor.there.fileno()]) as board, Pressing(board):
            tried.demo(board.path, 256, 16384)
            with Conversation(board, 256) as module:
                module.set(*[number(VOLUME, 50)] * 255)
                assert module.send(values(TUNNEL, number(0, 1), text(1, b"x" * 500)))
                module.next(lambda message: message[:2] == b"\x08\x00", PATIENT)
            monitor.ask("qmp_capabilities")
            unused = monitor.memory(begin, end)
        used = len(unused) - next(i for i, byte in enumerate(unused) if byte)
    finally:
        monitor.close()
    allowed = sizes.table(tried.images.parent)["cortex-m3"][-1]
    print("used", used, "of", allowed)
    assert 100 < used <= allowed, (used, allowed)


def hindrance(firmware):
    """Why nothing can be tried here; none when it can."""
    if not shutil.which(EMULATOR):
        return f"no {EMULATOR} here; scripts/install-packages.sh firmware installs it"
    if not (pathlib.Path(firmware) / "images").is_dir():
        return ("the firmware was not built: no arm-none-eabi-g++ when the build was set up; "
                "scripts/install-packages.sh firmware installs it, cmake --preset release finds it")
    return None


def main():
    firmware, build, name = sys.argv[1:]
    reason = hindrance(firmware)
    if reason:
        print("SKIPPED:", reason)
        return 77
    globals()[name](Tried(firmware, build))
    return 0


if __name__ == "__main__":
    sys.exit(main())
