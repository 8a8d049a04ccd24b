"""demo_answers_test.py BUILD_DIRECTORY TEST: hostlink-demo against a scripted host that answers wrongly or not at all, or
goes away. What the demo prints is compared with lines written by hand."""
import os
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

from scripted_host import (CHANGED, DATA, EVENT, FIRMWARE, GET, MUTE, PLAY_STATUS, RESPONSE, SET, SUBSCRIBE, SYSTEM_INFO,
                           UNSUBSCRIBE, VOLUME, ScriptedHost, list_of, text_item, uint8_item, values)

PATIENCE = 300  # seconds until a test that hangs is given up; nothing here takes long by itself

SHORT = ("--patience", "3")  # seconds
ENOUGH = ("--patience", "6")  # for the start of the program, too, on a busy machine

UNSUPPORTED = values(RESPONSE)
HELD = {SYSTEM_INFO: text_item(SYSTEM_INFO, b"Scripted"), FIRMWARE: text_item(FIRMWARE, b"7"),
        VOLUME: uint8_item(VOLUME, 30), PLAY_STATUS: uint8_item(PLAY_STATUS, 0)}

WELL = """\

Who is there?
   HostSystemInfo is "Scripted"
   HostFirmwareVersion is "7"

How is the player?
   PlayerVolume is 30
   PlayerPlayStatus is 0 (Stopped)

Tell me about changes.
   the host will tell when PlayerVolume changes
   the host will tell when PlayerPlayStatus changes

Play, a bit louder or softer.
   set PlayerPlayStatus: the host now holds 2 (Playing)
   the host tells: PlayerPlayStatus changed to 2 (Playing)
   set PlayerVolume: the host now holds 40
   the host tells: PlayerVolume changed to 40

Waiting for somebody to press a button on the host (in the simulator: type 'press 1').
   BUT_KeyPressed: button 3

Sending the file demo.bin, 2500 bytes.
   25 % sent
   75 % sent
   100 % sent
   the host received 2500 bytes in TIME s, with our checksum CRC

All went well.
"""


def crc(data, register=0xFFFFFFFF):
    """The checksum of data transfers, bit by bit."""
    data += b"\0" * (-len(data) % 4)
    for at in range(0, len(data), 4):
        for byte in reversed(data[at:at + 4]):
            register ^= byte << 24
            for _ in range(8):
                register = ((register << 1) ^ (0x04C11DB7 if register >> 31 else 0)) & 0xFFFFFFFF
    return register


def uint32_item(tag, number):
    return struct.pack("<HBI", tag, 0xCE, number)


def items_of(message):
    """Tag and value of each item; a text or a number of one or four bytes, as the demo sends them."""
    found, at = {}, 3
    for _ in range(message[2]):
        tag, encoding = struct.unpack_from("<HB", message, at)
        at += 3
        if encoding == 0xC5:
            size = struct.unpack_from("<H", message, at)[0]
            found[tag], at = message[at + 2:at + 2 + size], at + 2 + size
        elif encoding == 0xCC:
            found[tag], at = message[at], at + 1
        elif encoding == 0xCE:
            found[tag], at = struct.unpack_from("<I", message, at)[0], at + 4
        else:
            assert encoding == 0xC0, encoding
            found[tag] = None
    return found


class Answers:
    """The answers of a host that behaves."""

    def __init__(self):
        self.file, self.chunks = b"", 0

    def to(self, message):
        kind = message[0]
        if kind == GET:
            return [values(RESPONSE | GET, *[HELD[state] for state in list_of(message)])]
        if kind in (SUBSCRIBE, UNSUBSCRIBE):
            return [bytes([kind, 0x80]) + message[2:]]
        if kind == SET:
            HELD.update((state, uint8_item(state, value)) for state, value in items_of(message).items())
            answers = [bytes([SET, 0x80]) + message[2:], bytes([CHANGED, 0]) + message[2:]]
            if VOLUME in items_of(message):  # the last one before the demo waits for a button
                answers.append(values(EVENT, struct.pack("<HBH", 1, 0xCD, 3)))
            return answers
        assert kind == DATA, message
        return [self.to_chunk(items_of(message))]

    def to_chunk(self, items):
        sequence, data = items[1], items[2]
        if sequence == self.chunks:  # else it comes again, as the answer to it took its time
            self.file, self.chunks = self.file + data, sequence + 1
        answer = [uint32_item(1, sequence), uint32_item(4, crc(data))]
        if 3 in items:
            answer += [struct.pack("<HB", 3, 0xC0), uint32_item(6, len(self.file)), uint32_item(4, crc(self.file))]
        return values(RESPONSE | DATA, *answer)


class Run:
    """The demo and the host that it talks to, on a path that nobody else's terminal gets when the host has gone."""

    def __init__(self, build, answer, *options):
        self.host = ScriptedHost(answer)
        self.folder = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.folder.name, "host")
        os.symlink(self.host.path, self.path)
        # A busy machine is no host that accepts nothing.
        self.demo = subprocess.Popen([build + "/bin/hostlink-demo", "--device", self.path, "--file-size", "2500",
                                      "--response-timeout", "20000", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.deadline = time.monotonic() + PATIENCE

    def until(self, over):
        while not over():
            assert time.monotonic() < self.deadline, "the demo hangs"
            if not self.host.serve(0.05):
                select.select([], [], [], 0.05)

    def hang_up(self):
        os.remove(self.path)
        self.host.hang_up()

    def end(self):
        """Exit code, standard output, lines of the program itself on the standard error."""
        self.until(lambda: self.demo.poll() is not None)
        return self.ended()

    def ended(self):
        out, err = (stream.decode() for stream in self.demo.communicate())
        self.host.close()
        print(out + err)
        out = out.split("\n", 1)[1]  # the first line names the device
        out = re.sub(r"in [0-9.]+ s", "in TIME s", re.sub(r"(checksum) [0-9a-f]{8}", r"\1 CRC", out))
        return self.demo.returncode, out, err


def expect(what, seen, wanted):
    assert seen == wanted, "%s: %r instead of %r" % (what, seen, wanted)


def expect_well(run):
    code, out, _ = run.end()
    expect("output", out, WELL)
    expect("exit code", code, 0)


def expect_failure(run, line, messages=None):
    """After so many messages; one whose answer takes its time may be asked again."""
    code, out, err = run.end()
    expect("exit code", code, 1)
    if line is not None:
        expect("last line", err.splitlines()[-1], "hostlink-demo: " + line)
    if messages is not None:
        expect("requests", len(set(run.host.messages)), messages)
    return out, err


def asks_for(state, message):
    return message[0] == GET and state in list_of(message)


def AnswersThatBelong(build):
    answers = Answers()
    expect_well(Run(build, lambda host, message: [host.send(each) for each in answers.to(message)]))


def ForeignAnswers(build):
    """Before each answer come some that nobody has asked for."""
    answers = Answers()

    def answer(host, message):
        foreign = [values(RESPONSE | GET, uint8_item(0x1234, 5)),
                   values(RESPONSE | SET, uint8_item(MUTE, 77)), bytes([SUBSCRIBE, 0x80, 1, MUTE, 0]),
                   values(RESPONSE | DATA, uint32_item(1, 99), uint32_item(4, 0))]
        for each in foreign + answers.to(message):
            host.send(each)

    expect_well(Run(build, answer))


def OnlyForeignAnswers(build):
    run = Run(build, lambda host, message: host.send(values(RESPONSE | GET, HELD[VOLUME])), *SHORT)
    out, _ = expect_failure(run, "no host answers on %s. Is one at the other end of the line, at the same speed?" % run.path)
    expect("output", out, "")


def Unsupported(build):
    run = Run(build, lambda host, message: host.send(UNSUPPORTED))
    expect_failure(run, "get HostSystemInfo, HostFirmwareVersion: the host does not support this request. It needs a "
                        "firmware that does, or a program that does not ask; on a bad line a request that arrived "
                        "damaged is answered so too", 2)


def UnsupportedSubscription(build):
    answers = Answers()

    def answer(host, message):
        for each in [UNSUPPORTED] if message[0] == SUBSCRIBE else answers.to(message):
            host.send(each)

    expect_failure(Run(build, answer), "subscribe: the host does not support a subscription to one of these states; it "
                                       "will be asked again over a new link")


def ChunkThatArrivedDamaged(build):
    """A host that has taken chunks before calls one unsupported: it is sent again."""
    answers, refused = Answers(), []

    def answer(host, message):
        if message[0] == DATA and items_of(message)[1] == 1 and not refused:
            refused.append(message)
            host.send(UNSUPPORTED)
            return
        for each in answers.to(message):
            host.send(each)

    expect_well(Run(build, answer))


def UnreadableAnswers(build):
    """The host is there, and answers the first question with something that cannot be read."""
    answers = Answers()
    broken = {"one item of two": values(RESPONSE | GET, HELD[SYSTEM_INFO])[:2] + b"\2" + HELD[SYSTEM_INFO],
              "half an item": values(RESPONSE | GET, HELD[SYSTEM_INFO], HELD[FIRMWARE])[:-1],
              "nothing but an id": bytes([GET, 0x80])}

    def is_told(name):
        def answer(host, message):
            for each in [broken[name]] if asks_for(SYSTEM_INFO, message) else answers.to(message):
                host.send(each)

        out, err = expect_failure(Run(build, answer, *ENOUGH), None)
        expect(name, out, "\nWho is there?\n")
        assert re.search(r"get HostSystemInfo, HostFirmwareVersion: sent (once|\d times), and no answer came\.", err), (name, err)

    with ThreadPoolExecutor() as at_once:
        list(at_once.map(is_told, broken))


def expect_loss(code, out, err, path):
    expect("exit code", code, 1)
    assert "   (the link is down: %s is gone. Waiting for the host to come back)\n" % path in out, out
    expect("last line", err.splitlines()[-1], "hostlink-demo: the link to the host is lost (cannot open %s: "
           "No such file or directory). Connect it and start again" % path)


def LineLostWhileAsking(build):
    """Without a log, there is nothing else on the standard error."""
    answers = Answers()

    def answer(host, message):
        if asks_for(VOLUME, message):
            run.hang_up()
            return
        for each in answers.to(message):
            host.send(each)

    run = Run(build, answer, *ENOUGH, "--log-level", "off")
    code, _, err = run.end()
    expect("exit code", code, 1)
    expect("lines", len(err.splitlines()), 1)
    assert "get PlayerVolume, PlayerPlayStatus: " in err, err


def LineLostWhileWaitingForAButton(build):
    answers = Answers()

    def answer(host, message):
        for each in answers.to(message):
            if each[0] != EVENT:
                host.send(each)

    run = Run(build, answer, *ENOUGH)
    printed = b""
    while b"Waiting for somebody" not in printed:  # a line each: it comes through the pipe when it is printed
        assert time.monotonic() < run.deadline, printed
        run.host.serve(0.05)
        if select.select([run.demo.stdout], [], [], 0)[0]:
            printed += run.demo.stdout.read1(4096)
    run.hang_up()
    run.until(lambda: run.demo.poll() is not None)
    printed += run.demo.stdout.read()
    err = run.demo.stderr.read().decode()
    print(printed.decode() + err)
    expect_loss(run.demo.returncode, printed.decode(), err, run.path)


def KilledProgramHasPrinted(build):
    answers = Answers()

    def answer(host, message):
        if not asks_for(VOLUME, message):
            host.send(answers.to(message)[0])

    run = Run(build, answer)
    # It has printed the first answer, and waits for the second.
    run.until(lambda: any(asks_for(VOLUME, message) for message in run.host.messages))
    run.demo.send_signal(signal.SIGKILL)
    run.demo.wait()
    _, out, _ = run.ended()
    expect("output", out, WELL[:WELL.index("   PlayerVolume is")])


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
