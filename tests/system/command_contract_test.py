"""command_contract_test.py BUILD_DIRECTORY TEST: what hostlink promises of every command: JSON, exit codes, Ctrl-C."""
import json
import os
import re
import signal
import subprocess
import sys
import time

import jsonschema

from command_test import (BAD_USAGE, FIRST_CHUNK, GOOD, HOST_SAID_NO, LAST_CHUNK, LED, NO_LINK, UNKNOWN, Bench, SendingHost,
                          press_until_ended)
from programs_test import PATIENCE, Program, expect, run

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PACKETS = "FF FE 0F 00 23 2A 00 00 02 00 01 15 00 00 00 FF FE 08 00 A3 2A 00 00 00 FF FE"


class Schema:
    def __init__(self):
        with open(os.path.join(TOP, "docs", "command.schema.json"), encoding="utf-8") as file:
            self.whole = json.load(file)
        jsonschema.Draft202012Validator.check_schema(self.whole)

    def commands(self):
        return set(self.whole["$defs"]) - {"error"}

    def check(self, command, text):
        """All lines are of the command or an error; gives them back."""
        wanted = {"$defs": self.whole["$defs"],
                  "anyOf": [{"$ref": "#/$defs/" + command}, {"$ref": "#/$defs/error"}]}
        validator = jsonschema.Draft202012Validator(wanted)
        objects = [json.loads(line) for line in text.splitlines()]
        for each in objects:
            validator.validate(each)
        return objects


def commands_of(build):
    _, text, _ = run(build, "hostlink", "--help")
    listed = text.split("Subcommands:")[1].split("Exit code")[0]
    return {line.split()[0] for line in listed.splitlines() if re.match("  [a-z]", line)}


def EveryCommandHasASchema(build):
    expect("commands", Schema().commands(), commands_of(build) - {"completion", "extcap"})
    with open(os.path.join(TOP, "docs", "command.md"), encoding="utf-8") as file:
        page = file.read()
    for name, definition in Schema().whole["$defs"].items():
        assert "`%s`" % name in page or name == "error", name
        for kind in definition.get("anyOf", [definition]):
            for member in kind.get("properties", {}):
                assert "`%s`" % member in page, (name, member)


def SchemaRefusesWhatIsNotPromised(build):
    schema = Schema()
    good = '{"state":"PlayerVolume","number":9,"type":"Uint8","value":30}'
    expect("good", len(schema.check("get", good)), 1)
    for command, bad in [("get", good.replace("30", "3.5")), ("get", good.replace('"type":"Uint8",', "")),
                         ("get", good.replace("}", ',"more":1}')), ("watch", good), ("ping", '{"sent":1,"answered":1}'),
                         ("decode", '{"at":0,"bytes":1,"kind":"packet","hex":"ff"}')]:
        try:
            schema.check(command, bad)
        except jsonschema.ValidationError:
            continue
        raise AssertionError("not refused: " + bad)


def LinesKeepToTheSchema(build):
    schema = Schema()
    with Bench(build, "--state", "MetaTitle=text:Blue", "--baud", "460800") as bench:
        with open(bench.path("file"), "wb") as file:
            file.write(bytes(60000))
        for words, code in [
                (["get", "PlayerVolume", "PlayerPlayStatus", "MetaTitle", "4711"], GOOD),
                (["set", "PlayerVolume=31", "MetaTitle=00ff:hex", "4711=nil"], GOOD),
                (["watch", "--count", "3"], GOOD), (["press", "3"], GOOD), (["press", "menu"], GOOD),
                (LED, HOST_SAID_NO), (["send", bench.path("file")], GOOD),
                (["ping", "--count", "2", "--interval", "1"], GOOD), (["states"], GOOD),
                (["explain", "2"], GOOD), (["explain", *PACKETS.split()[:15]], GOOD), (["explain", "02 00 01 15 00"], GOOD),
                (["explain", "Expected ack, got something else: 3 valid: 1"], GOOD),
                (["decode", "--bytes", PACKETS], HOST_SAID_NO), (["doctor"], GOOD), (["profiles"], GOOD)]:
            told, out, err = bench.run("--json", *words)
            expect(" ".join(words), (told, err), (code, ""))
            objects = schema.check(words[0], out)
            assert objects or words == ["profiles"], words
        with open(bench.path("profiles"), "w", encoding="utf-8") as file:
            file.write('[bench]\nuart = "/dev/ttyS1"\n[bad]\nbaud = 1\n')
        code, out, _ = bench.run("--json", "profiles", "--config", bench.path("profiles"))
        expect("profiles", (code, [sorted(each)[0] for each in schema.check("profiles", out)]),
               (BAD_USAGE, ["error", "profile"]))
        code, out, _ = run(build, "hostlink", "--json", "get", "1", "--uart", "/nowhere")
        expect("no link", (code, schema.check("get", out)[0]["error"]), (NO_LINK, "LinkDown"))


def LinesOfCommandsThatGoOnKeepToTheSchema(build):
    schema = Schema()
    with Bench(build) as bench:
        with Program(*bench.words("--json", "tunnel")) as tunnel:
            tunnel.wait_for("\n")
            tunnel.process.send_signal(signal.SIGTERM)
            expect("tunnel", tunnel.end(), GOOD)
            expect("lines", len(schema.check("tunnel", tunnel.printed)), 2)
        with Program(*bench.words("--json", "events", "--count", "2")) as events:
            press_until_ended(bench, events)
            expect("events", events.end(), GOOD)
            expect("keys", {each["key"] for each in schema.check("events", events.printed)}, {7})
    with SendingHost() as host:
        words = [os.path.join(build, "bin", "hostlink"), "--json", "--uart", host.host.path, *Bench.patience, "receive",
                 "--count", "1"]
        with Bench(build) as place, Program(*words, place.folder.name) as receive:
            host.asked.wait(PATIENCE)
            answer = host.send(FIRST_CHUNK)
            while answer[-3:] == bytes.fromhex("05 00 C0"):  # nobody took files yet
                answer = host.send(FIRST_CHUNK)
            host.send(LAST_CHUNK)
            expect("receive", receive.end(), GOOD)
            # A line of progress before it, where the machine takes more than a second between the chunks.
            expect("file", {each["bytes"] for each in schema.check("receive", receive.printed)}, {6})


def ExitCodesAreAsPromised(build):
    with Bench(build) as bench:
        for code, words in [(GOOD, ["get", "PlayerVolume"]), (HOST_SAID_NO, LED),
                            (HOST_SAID_NO, ["decode", "--bytes", "00"]), (BAD_USAGE, ["get", "Volume"]),
                            (BAD_USAGE, ["send", bench.path("none")]), (BAD_USAGE, ["explain", "nothing of the kind"]),
                            (BAD_USAGE, ["watch", "--frob"]), (GOOD, ["doctor"])]:
            expect(" ".join(words), bench.run(*words)[0], code)
    for words in [["get", "1"], ["set", "1=2"], ["press", "1"], ["led", "SetPattern", "1"], ["send", "/proc/self/comm"],
                  ["ping", "--count", "1"], ["doctor"]]:
        expect(" ".join(words), run(build, "hostlink", *words, "--uart", "/nowhere")[0], NO_LINK)
    # The host takes the request and never answers it.
    with Bench(build, "--silent-every", "1") as bench:
        program = os.path.join(build, "bin", "hostlink")
        done = subprocess.run([program, "get", "PlayerVolume", "--uart", bench.line, "--timeout", "1000",
                               "--response-timeout", "100"], capture_output=True, timeout=PATIENCE, check=False)
        assert done.returncode in (NO_LINK, UNKNOWN), done
    with SilentAfterItsVersion() as host:
        # Given up when no sending of it was answered within its second.
        code, out, err = run(build, "hostlink", "get", "PlayerVolume", "--uart", host.host.path, *Bench.patience)
        expect("unanswered", (code, out), (UNKNOWN, ""))
        assert err, "nothing told"


class SilentAfterItsVersion(SendingHost):
    """Answers the link's first question, and takes all others without an answer."""

    def answer(self, host, message):
        if not self.asked.is_set():
            super().answer(host, message)


def CtrlCEndsWhatGoesOn(build):
    with Bench(build, "--baud", "115200") as bench:
        with open(bench.path("file"), "wb") as file:
            file.write(bytes(2000000))
        for words, begun in [(["watch", "PlayerVolume"], "PlayerVolume = 30"), (["events"], None),
                             (["receive", bench.folder.name], "waiting for files"), (["tunnel"], "listening at"),
                             (["ping", "--interval", "60000"], "answer 1:"), (["send", bench.path("file")], " of 2000000")]:
            for number in [signal.SIGINT, signal.SIGTERM]:
                # A busy machine may hold up any end, but not five; what waits for longer does so each time.
                assert any(time_of_end(bench, words, begun, number) < 1 for _ in range(5)), words
                # The device is free: it can be had at once.
                expect("next", bench.good("get", "PlayerVolume"), "PlayerVolume = 30\n")


def time_of_end(bench, words, begun, number):
    """From the signal to the end, in seconds."""
    with Program(*bench.words(*words)) as program:
        if begun:
            program.wait_for(begun)
        else:
            wait_until_taken(program, bench.line)
        began = time.monotonic()
        program.process.send_signal(number)
        code = program.end()
        took = time.monotonic() - began
    expect(" ".join(words), code, UNKNOWN if words[0] == "send" else GOOD)
    print("%s: ended after %.3f s" % (" ".join(words), took))
    return took


def wait_until_taken(program, line):
    """Until it has the device open and blocks its signals to take them itself: it has begun."""
    deadline = time.monotonic() + PATIENCE
    device = os.path.realpath(line)
    while device not in [os.path.realpath(each) for each in open_files(program.process.pid)]:
        assert time.monotonic() < deadline and program.process.poll() is None


def open_files(process):
    folder = "/proc/%d/fd" % process
    for each in os.listdir(folder):
        try:
            yield os.readlink(os.path.join(folder, each))
        except FileNotFoundError:
            pass


def StartIsQuick(build):
    """How long until the first byte; told, not judged, for machines differ."""
    best = None
    for _ in range(10):
        began = time.monotonic()
        program = subprocess.Popen([os.path.join(build, "bin", "hostlink"), "states", "PlayerVolume"],
                                   stdout=subprocess.PIPE)
        first = program.stdout.read(1)
        took = 1000 * (time.monotonic() - began)
        program.stdout.read()
        expect("code", (program.wait(PATIENCE), bool(first)), (GOOD, True))
        program.stdout.close()
        best = took if best is None else min(best, took)
    print("start to first byte: %.1f ms" % best)


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
