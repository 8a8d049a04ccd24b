"""command_transfer_test.py BUILD_DIRECTORY TEST: hostlink send when the host goes away and comes back."""
import json
import os
import signal
import sys

from command_test import GOOD, UNKNOWN, Bench
from programs_test import Program, expect, kill_simulator

SIZE = 40000
CONTENT = bytes(i * i % 251 for i in range(SIZE))


class SlowBench(Bench):
    """A line so slow that a file takes many seconds, of which the first line of progress tells the first, and a file to send:
    a busy machine may keep the test from what it does then for a while."""

    patience = ("--timeout", "60000")  # a host that is gone is to be noticed

    def __init__(self, build, baud=38400):
        super().__init__(build, "--baud", str(baud))
        with open(self.path("file"), "wb") as file:
            file.write(CONTENT)

    def sending(self, *words):
        return Program(*self.words("--json", "send", self.path("file"), *words))


def objects(program):
    return [json.loads(line) for line in program.printed.splitlines()]


def assert_went_and_came(told):
    """The link, once for the host that went; a machine that stands still for a while may make it once more."""
    states = [each["link"] for each in told if "link" in each]
    expect("link", states, max(1, len(states) // 2) * ["Down", "Up"])


def SendBeginsAnewAtAHostThatWasStartedAgain(build):
    with SlowBench(build) as bench, bench.sending() as send:
        send.wait_for('"total":')
        kill_simulator(bench.host, bench.line)
        send.wait_for('"link":"Down"')
        with Program(os.path.join(build, "bin", "zent-hostsim"), "--link", bench.line, "--baud", "921600"):
            expect("code", send.end(), GOOD)
        told = objects(send)
        assert_went_and_came(told)
        expect("end", (told[-1]["bytes"], told[-1]["restarts"]), (SIZE, 1))
        expect("checksum", told[-1]["checksum"], checksum(CONTENT))


def SendGoesOnWhereItWas(build):
    """The host was away and has forgotten nothing."""
    with SlowBench(build, 57600) as bench, bench.sending() as send:
        send.wait_for('"total":')
        bench.host.process.send_signal(signal.SIGSTOP)
        send.wait_for('"link":"Down"')
        bench.host.process.send_signal(signal.SIGCONT)
        expect("code", send.end(), GOOD)
        told = objects(send)
        assert_went_and_came(told)
        expect("end", (told[-1]["bytes"], told[-1]["restarts"]), (SIZE, 0))
        expect("checksum", told[-1]["checksum"], checksum(CONTENT))
        done = [each["bytes"] for each in told if "bytes" in each]
        expect("never back", done, sorted(done))


def SendGivesUpWhenPatienceEnds(build):
    with SlowBench(build) as bench, bench.sending("--patience", "3000") as send:
        send.wait_for('"total":')
        bench.host.process.send_signal(signal.SIGSTOP)
        code = send.end()
        bench.host.process.send_signal(signal.SIGCONT)
        expect("told", (code, objects(send)[-1]["error"]), (UNKNOWN, "Unanswered"))


def checksum(data):
    """As docs/wire-format.md has it: the data as 32-bit words, the lowest byte first, the last filled up with zeros."""
    register = 0xFFFFFFFF
    data += bytes(-len(data) % 4)
    for at in range(0, len(data), 4):
        register ^= int.from_bytes(data[at:at + 4], "little")
        for _ in range(32):
            register = (register << 1 ^ (0x04C11DB7 if register & 0x80000000 else 0)) & 0xFFFFFFFF
    return "0x%08x" % register


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
