"""command_decode_test.py BUILD_DIRECTORY TEST: hostlink decode of logs that the library has written at TRACE."""
import sys

from command_test import GOOD, HOST_SAID_NO, Bench, decoded
from programs_test import expect

# Get state 0x0015, its acknowledgement, and the answer: AudioSourceID is 1, in two packets.
GET = "ff fe 0f 00 23 2a 00 00 02 00 01 15 00 00 00"
ACK = "ff fe 08 00 a3 2a 00 00"
ANSWER_1 = "ff fe 0d 00 03 05 00 00 02 80 01 00 00"
ANSWER_2 = "ff fe 0e 00 23 05 01 00 15 00 cc 01 00 00"


def dump(title, packet, before=""):
    """As the library prints it: sixteen bytes a line."""
    digits = packet.split()
    lines = [title] + [" 0x%04x: %s " % (at, " ".join(digits[at:at + 16])) for at in range(0, len(digits), 16)]
    return "".join(before + line + "\n" for line in lines)


def told(build, text):
    code, lines = decoded(build, text.encode())
    return code, [(each.get("time"), each.get("direction"), each.get("line"), each["kind"], each["bytes"]) for each in lines]


def TimesAndDirectionsAreTold(build):
    log = ("11-22-26 12:00:00,001 [140001] INFO HostLinkPhysicalLayer <> - UART hostlink physical communication started\n" +
           dump("11-22-26 12:00:00,123 [140001] TRACE HostLinkPhysicalLayer <> - Writing data to uart:", GET) +
           "11-22-26 12:00:00,123 [140001] TRACE HostLinkPhysicalLayer <> - ======================================\n" +
           dump("11-22-26 12:00:00,130 [140002] TRACE HostLinkPhysicalLayer <> - Received data from uart:", ACK) +
           dump("11-22-26 12:00:00,131 [140002] TRACE HostLinkPhysicalLayer <> - Received data from uart:", ANSWER_1) +
           dump("11-22-26 12:00:00,132 [140002] TRACE HostLinkPhysicalLayer <> - Received data from uart:", ANSWER_2))
    expect("log", told(build, log),
           (GOOD, [("11-22-26 12:00:00,123", "toHost", 2, "packet", 15), ("11-22-26 12:00:00,123", "toHost", 2, "message", 5),
                   ("11-22-26 12:00:00,130", "fromHost", 5, "packet", 8), ("11-22-26 12:00:00,131", "fromHost", 7, "packet", 13),
                   ("11-22-26 12:00:00,132", "fromHost", 9, "packet", 14),
                   ("11-22-26 12:00:00,132", "fromHost", 9, "message", 7)]))
    _, lines = decoded(build, log.encode())
    expect("words", lines[-1]["text"].splitlines()[:3],
           ["0x8002 - message id: GetStateResponseMessage", "0x01 - count: 1", "0x0015 - tag: AudioSourceID"])


def EveryLayoutWillDo(build):
    for before, time in [("", None), ("TRACE - ", None), ("42 [140001] TRACE HostLinkPhysicalLayer <> - ", "42"),
                         ("2026-11-22T12:00:00.123456Z TRACE ", "2026-11-22T12:00:00.123456Z"),
                         ("Nov 22 12:00:00 board player[77]: TRACE - ", "12:00:00")]:
        # A journal puts its own before each line.
        each_line = "Nov 22 12:00:00 board player[77]: " if "player" in before else ""
        log = dump((before[len(each_line):] if each_line else before) + "Writing data to uart:", GET, each_line)
        want = [(time, "toHost", 1, "packet", 15), (time, "toHost", 1, "message", 5)]
        expect(before, told(build, log), (GOOD, [tuple(each) for each in want]))
        expect("the same in a longer log", told(build, "12:00:00 INFO - nothing\n0x1234: no bytes\n" + log + "TRACE - Leave\n"),
               (GOOD, [(time, "toHost", 3, kind, size) for _, _, _, kind, size in want]))


def BusesAreTold(build):
    log = (dump("TRACE - Writing data: ", GET) + dump("TRACE - Received response: ", ACK) +
           dump("TRACE - Sending IRQ frame: ", "ff fe 0e 00 22 07 00 00 40 00 00 00 00 00") +
           dump("TRACE - Read slave message: ", ANSWER_1 + 9 * " ff") + dump("TRACE - Read slave message: ", "ff ff ff"))
    expect("log", [(direction, kind, size) for _, direction, _, kind, size in told(build, log)[1]],
           [("toHost", "packet", 15), ("toHost", "message", 5), ("fromHost", "packet", 8), ("toHost", "packet", 14),
            ("fromHost", "packet", 13), ("fromHost", "no packet", 3)])


def LinesThatAreMissingAreNoticed(build):
    whole = dump("12:00:00,123 TRACE - Writing data to uart:", ANSWER_1 + " 01 02 03 04 05")
    lines = whole.splitlines(True)
    # The second line of the dump alone does not belong to another one.
    log = lines[0] + lines[1] + "12:00:00,124 INFO - another thread\n" + lines[2] + dump("TRACE - Received data from uart:", ACK)
    expect("log", [(direction, kind, size) for _, direction, _, kind, size in told(build, log)[1]],
           [("toHost", "packet", 13), ("toHost", "no packet", 3), ("fromHost", "packet", 8)])
    expect("code", told(build, log)[0], HOST_SAID_NO)


def ALogOfThisProgramIsRead(build):
    with Bench(build, "--state", "MetaTitle=text:" + 100 * "x") as bench:
        code, out, log = bench.run("--log-level", "trace", "get", "MetaTitle")
        expect("get", (code, out), (GOOD, "MetaTitle = " + 100 * "x" + "\n"))
        code, lines = decoded(build, log.encode())
        expect("code", code, GOOD)
        expect("kinds", {each["kind"] for each in lines}, {"packet", "message"})
        messages = [(each["direction"], each["text"].splitlines()[0].split(": ")[1]) for each in lines if each["kind"] == "message"]
        # The link's own first question, and ours; a question whose answer takes its time is asked again.
        expect("messages", set(messages), {("fromHost", "GetStateResponseMessage"), ("toHost", "GetStateMessage")})
        assert len(messages) >= 4, messages
        answers = [each for each in lines if each["kind"] == "message" and 100 * "78 " in each["hex"] + " "]
        assert answers, lines
        assert "%s\n" % log.splitlines()[answers[0]["line"] - 1] in log


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
