"""command_terminal_test.py BUILD_DIRECTORY TEST: hostlink on a terminal: the table of watch --top, the progress of send."""
import json
import re
import signal
import sys
import time

from command_test import BAD_USAGE, GOOD, NO_LINK, Bench
from programs_test import PATIENCE, expect, kill_simulator, run
from terminal import Terminal

STATES = ["--state", "PlayerVolume=u8:30", "--state", "MetaTitle=text:Blue", "--state", "PlayerPlayStatus=u8:2"]
KEYS = "s state  v value  a age  c changes  p pause  arrows more rows  q quit"


def top(bench, *words, **size):
    return Terminal(bench.words("watch", "--top", *words), **size)


def states_of(lines):
    """The first column, below the head."""
    return [line.split()[0] for line in lines[2:-1] if line]


def row_of(lines, state):
    """Value, age and changes of a state; empty texts while that row is not drawn whole."""
    for line in lines:
        found = re.match(re.escape(state) + r" +(.*?) +(\d+ \w+) +(\d+)$", line)
        if found:
            return found.groups()
    return "", "", ""


def TopShowsStatesValuesAgesAndChanges(build):
    with Bench(build, *STATES) as bench, top(bench, "PlayerVolume", "MetaTitle", "PlayerPlayStatus") as screen:
        screen.wait_until(lambda lines: states_of(lines) == ["MetaTitle", "PlayerPlayStatus", "PlayerVolume"])
        screen.wait_until(lambda lines: "link up" in lines[0] and lines[-1] == KEYS)  # which comes last
        lines = screen.lines()
        assert lines[0].startswith("hostlink  uart " + bench.line), lines
        expect("heads", lines[1].split(), ["STATE+", "VALUE", "AGE", "CHANGES"])
        expect("value and changes", row_of(lines, "PlayerPlayStatus")[::2], ("Playing (2)", "0"))
        expect("text", row_of(lines, "MetaTitle")[0], "Blue")
        expect("the head is turned over", screen.screen.buffer[1][0].reverse, True)
        bench.host.say("set PlayerVolume 31\n")
        screen.wait_until(lambda lines: row_of(lines, "PlayerVolume")[::2] == ("31", "1"))
        # The age goes on by itself; of a picture that nobody had the time to look at, the next one is seen.
        screen.wait_until(lambda lines: row_of(lines, "PlayerVolume")[1] not in ("", "0 s", "1 s"))
        screen.type("q")
        expect("code", screen.end(), GOOD)


def TopWithoutStatesShowsWhatTheHostHas(build):
    with Bench(build, *STATES) as bench, top(bench) as screen:
        screen.wait_until(lambda lines: {"PlayerVolume", "MetaTitle"} <= set(states_of(lines)))
        assert not any("no value" in line for line in screen.lines()), screen.lines()
        screen.type("q")
        expect("code", screen.end(), GOOD)


def TopSorts(build):
    with Bench(build, *STATES) as bench, top(bench, "PlayerVolume", "MetaTitle", "PlayerPlayStatus") as screen:
        def sorted_is(keys, head, *states):
            screen.type(keys)
            screen.wait_until(lambda lines: head in lines[1].split() and states_of(lines) == list(states))

        sorted_is("", "STATE+", "MetaTitle", "PlayerPlayStatus", "PlayerVolume")
        sorted_is("s", "STATE-", "PlayerVolume", "PlayerPlayStatus", "MetaTitle")
        sorted_is("v", "VALUE+", "PlayerVolume", "MetaTitle", "PlayerPlayStatus")  # 30, Blue, Playing
        bench.host.say("set PlayerPlayStatus 3\n")
        screen.wait_for("Paused (3)")
        sorted_is("c", "CHANGES+", "PlayerPlayStatus", "MetaTitle", "PlayerVolume")
        bench.host.say("set MetaTitle text:Green\n")
        screen.wait_for("Green")
        sorted_is("a", "AGE+", "MetaTitle", "PlayerPlayStatus", "PlayerVolume")
        sorted_is("a", "AGE-", "PlayerVolume", "PlayerPlayStatus", "MetaTitle")
        screen.type("q")
        expect("code", screen.end(), GOOD)


def messages_sent(bench):
    bench.host.printed = ""
    bench.host.say("counts\n")
    bench.host.wait_for('"faults":')
    bench.host.wait_for("}\n")
    return [json.loads(line) for line in bench.host.printed.splitlines() if '"counts"' in line][-1]["messagesSent"]


def TopStandsStillWhilePaused(build):
    with Bench(build, "--json", *STATES) as bench, top(bench, "PlayerVolume", "MetaTitle") as screen:
        screen.wait_until(lambda lines: len(states_of(lines)) == 2)
        screen.type("p")
        screen.wait_for("PAUSED")
        told = messages_sent(bench)
        bench.host.say("set PlayerVolume 31\nset MetaTitle text:Green\n")
        deadline = time.monotonic() + PATIENCE
        while messages_sent(bench) < told + 2:
            assert time.monotonic() < deadline
        # The next picture still shows the old ones.
        screen.resize(79, 24)
        screen.wait_until(lambda lines: len(lines[1]) == 79 and
                          (row_of(lines, "PlayerVolume")[0], row_of(lines, "MetaTitle")[0]) == ("30", "Blue"))
        screen.type("p")
        screen.wait_until(lambda lines: row_of(lines, "PlayerVolume")[0] == "31" and row_of(lines, "MetaTitle")[0] == "Green")
        assert not any("PAUSED" in line for line in screen.lines()), screen.lines()
        screen.type("q")
        expect("code", screen.end(), GOOD)


def TopFollowsTheSizeOfTheTerminal(build):
    with Bench(build, *STATES) as bench, top(bench, "PlayerVolume", "MetaTitle", "PlayerPlayStatus", columns=100) as screen:
        screen.wait_until(lambda lines: lines[1].endswith("CHANGES") and len(lines[1]) == 100 and len(states_of(lines)) == 3)
        screen.resize(60, 4)  # title, head, one row, keys
        screen.wait_until(lambda lines: len(lines[1]) == 60 and lines[3].startswith("s state") and lines[2].startswith("MetaTitle"))
        screen.type("\033[B")
        screen.wait_until(lambda lines: lines[2].startswith("PlayerPlayStatus"))
        screen.type("\033[6~")
        screen.wait_until(lambda lines: lines[2].startswith("PlayerVolume"))
        screen.type("\033[5~")
        screen.wait_until(lambda lines: lines[2].startswith("MetaTitle"))
        screen.resize(1, 1)
        screen.resize(80, 24)
        screen.wait_until(lambda lines: len(states_of(lines)) == 3 and lines[-1] == KEYS)
        screen.type("q")
        expect("code", screen.end(), GOOD)


def leaves_as_found(bench, end):
    """The exit code, and that the terminal is as it was: its settings, the page, the cursor, its wrapping."""
    with top(bench, "PlayerVolume") as screen:
        screen.wait_until(lambda lines: states_of(lines) == ["PlayerVolume"])
        expect("settings changed", screen.is_as_found(), False)
        began = time.monotonic()
        end(screen)
        code = screen.end()
        took = time.monotonic() - began
        expect("settings", screen.is_as_found(), True)
        for mode in [b"?1049", b"?25", b"?7"]:
            modes = re.findall(rb"\x1b\[" + re.escape(mode) + rb"([hl])", screen.raw)
            assert len(modes) == 2 and modes[0] != modes[1], (mode, modes)
        return code, took


def TopLeavesTheTerminalAsFound(build):
    with Bench(build) as bench:
        for end in [lambda screen: screen.type("q"), lambda screen: screen.type("\x03"),
                    lambda screen: screen.process.send_signal(signal.SIGTERM),
                    lambda screen: screen.process.send_signal(signal.SIGHUP)]:
            code, took = leaves_as_found(bench, end)
            expect("code", code, GOOD)
            assert took < 20, took  # a second where the machine has nothing else to do
        expect("the device is free", bench.good("get", "PlayerVolume"), "PlayerVolume = 30\n")


def TopEndsWhenItsTerminalTakesNothing(build):
    """Whoever holds the terminal has stopped reading it."""
    with Bench(build) as bench, top(bench, "PlayerVolume", columns=200, rows=100) as screen:
        screen.wait_until(lambda lines: states_of(lines) == ["PlayerVolume"])
        deadline = time.monotonic() + PATIENCE
        while screen.has_room():  # nobody reads; the terminal holds a few pictures
            assert time.monotonic() < deadline
            screen.type("s")
        screen.process.send_signal(signal.SIGTERM)
        expect("code", screen.process.wait(PATIENCE), GOOD)
        expect("settings", screen.is_as_found(), True)


def TopTellsThatTheLinkIsDown(build):
    with Bench(build) as bench, top(bench, "PlayerVolume") as screen:
        screen.wait_for("link up")
        kill_simulator(bench.host, bench.line)
        screen.wait_for("link down: ")
        screen.type("q")
        expect("code", screen.end(), NO_LINK)


def TopNeedsATerminal(build):
    with Bench(build) as bench:
        for words in [["watch", "--top"], ["--json", "watch", "--top"], ["watch", "--top", "--count", "1"]]:
            code, out, err = bench.run(*words)
            expect("code", (code, "\x1b" in out + err), (BAD_USAGE, False))
        code, out, err = bench.run("watch", "--top")
        expect("told", (out, "--top draws on a terminal" in err), ("", True))


def SendDrawsOneLine(build):
    with Bench(build, "--baud", "460800") as bench:
        path = bench.path("file")
        with open(path, "wb") as file:
            file.write(bytes(20000))
        with Terminal(bench.words("send", path), columns=100) as screen:
            screen.wait_for("the host holds 20000 bytes, checksum 0x")
            expect("code", screen.end(), GOOD)
            # From what was sent to the terminal: pictures pass while nobody looks.
            bars = re.findall(r"\r\x1b\[K\[(#*)(\.*)\] +(\d+) % (\d+) of 20000 bytes, \d+ a second", screen.raw.decode())
            assert len(set(bars)) > 2, screen.raw
            for done, rest, percent, count in bars:
                expect(count, (len(done) + len(rest), int(percent)), (30, int(count) * 100 // 20000))
            expect("complete", screen.lines()[0].startswith("[" + 30 * "#" + "] 100 % 20000 of 20000 bytes, "), True)
            # The bar has one line, and nothing but the wiping of that line was sent to the terminal.
            expect("below", screen.lines()[1].startswith("the host holds"), True)
            expect("escapes", set(re.findall(rb"\x1b\[[^a-zA-Z]*[a-zA-Z]", screen.raw)), {b"\x1b[K"})


def SendFitsItsLineIntoANarrowTerminal(build):
    with Bench(build, "--baud", "460800") as bench:
        path = bench.path("file")
        with open(path, "wb") as file:
            file.write(bytes(20000))
        with Terminal(bench.words("send", path), columns=45) as screen:
            screen.wait_for("the host holds")
            expect("code", screen.end(), GOOD)
            expect("line", screen.lines()[0], "[" + 30 * "#" + "] 100 % 20000")
            expect("next", screen.lines()[1].startswith("the host holds"), True)


def NothingIsDrawnWhereThereIsNoTerminal(build):
    with Bench(build, "--baud", "460800") as bench:
        path = bench.path("file")
        with open(path, "wb") as file:
            file.write(bytes(20000))
        for words in [["send", path], ["--json", "send", path], ["get", "PlayerVolume"], ["watch", "--count", "1"]]:
            out = bench.good(*words)
            assert "\x1b" not in out and "\r" not in out, out
    code, out, err = run(build, "hostlink", "--help")
    expect("help", (code, "\x1b" in out + err), (GOOD, False))


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
