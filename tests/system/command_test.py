"""command_test.py BUILD_DIRECTORY TEST: hostlink, as people and scripts use it, against zent-hostsim."""
import json
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time

from programs_test import PATIENCE, Program, expect, run
from scripted_host import DATA, FIRMWARE, GET as GET_MESSAGE, RESPONSE, ScriptedHost, text_item, values

GOOD, HOST_SAID_NO, BAD_USAGE, NO_LINK, UNKNOWN = range(5)

LED = ("led", "SetPattern", "1", "--refusal-time", "60000")  # which ends sooner with a host that refuses


class Bench:
    """A simulated host on a pseudo terminal, and hostlink to talk to it."""

    patience = ("--timeout", "60000", "--response-timeout", "20000")  # a busy machine is no host that has gone

    def __init__(self, build, *options):
        self.build = build
        self.folder = tempfile.TemporaryDirectory()
        self.line = self.path("host")
        self.host = Program(os.path.join(build, "bin", "zent-hostsim"), "--link", self.line, "--commands", *options)
        self.host.wait_for("ready" if "--json" in options else "listening on")

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def words(self, *words):
        return [os.path.join(self.build, "bin", "hostlink"), *words, "--uart", self.line, *self.patience]

    def run(self, *words):
        return run(self.build, "hostlink", *words, "--uart", self.line, *self.patience)

    def good(self, *words):
        code, out, err = self.run(*words)
        expect(" ".join(words), (code, err), (GOOD, ""))
        return out

    def objects(self, *words):
        return [json.loads(line) for line in self.good("--json", *words).splitlines()]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.host.__exit__()
        self.folder.cleanup()


def GetPrintsValuesWithTheirNames(build):
    with Bench(build, "--state", "MetaTitle=text:Blue") as bench:
        expect("text", bench.good("get", "PlayerVolume", "11", "MetaTitle", "4711").splitlines(),
               ["PlayerVolume = 30", "PlayerPlayStatus = Stopped (0)", "MetaTitle = Blue", "0x1267 = no value"])
        expect("objects", bench.objects("get", "PlayerVolume", "PlayerPlayStatus", "MetaTitle", "4711"),
               [{"state": "PlayerVolume", "number": 9, "type": "Uint8", "value": 30},
                {"state": "PlayerPlayStatus", "number": 11, "type": "Uint8", "value": 0, "name": "Stopped"},
                {"state": "MetaTitle", "number": bench.objects("get", "MetaTitle")[0]["number"], "type": "Bin16",
                 "value": "Blue", "hex": "426c7565"},
                {"state": "0x1267", "number": 4711, "type": "Nil", "value": None}])


def SetTakesTheEncodingOfTheHost(build):
    with Bench(build, "--state", "PlayerVolume=u32:30") as bench:
        bench.good("set", "PlayerVolume=31", "PlayerPlayStatus=playing", "--confirm")
        held = bench.objects("get", "PlayerVolume", "PlayerPlayStatus")
        expect("held", [(each["type"], each["value"]) for each in held], [("Uint32", 31), ("Uint8", 2)])
        bench.good("set", "PlayerVolume=0x21:i16", "MetaTitle=30:text", "4711=00ff:hex")
        held = bench.objects("get", "PlayerVolume", "MetaTitle", "4711")
        expect("held", [(each["type"], each["value"]) for each in held],
               [("Int16", 33), ("Bin16", "30"), ("Bin16", "\0\ufffd")])
        bench.good("set", "4711=nil")
        expect("held", bench.good("get", "4711"), "0x1267 = no value\n")


def ConfirmReadsBack(build):
    with Bench(build) as bench:
        def asked(*words):
            """Which messages about the volume went to the host."""
            path = bench.path("set %d.pcapng" % len(words))
            bench.good("set", "PlayerVolume=31:u8", "--record", path, *words)
            sent = [each["hex"] for each in map(json.loads, bench.good("--json", "decode", path).splitlines())
                    if each["kind"] == "message" and each["direction"] == "toHost"]
            return {each for each in sent if "09 00" in each}

        plain, get = {"01 00 01 09 00 cc 1f"}, {"02 00 01 09 00"}
        expect("plain", asked(), plain)
        expect("confirmed", asked("--confirm"), plain | get)


def WhatCannotBeMeantIsNotSent(build):
    with Bench(build) as bench:
        for words, text in [
                (["get", "Volume"], "there is no state named 'Volume'"),
                (["get", "Volume"], "there is PlayerVolume"),
                (["get", "70000"], "70000"),
                (["set", "PlayerVolume"], "'PlayerVolume' is not STATE=VALUE"),
                (["set", "PlayerPlayStatus=Dancing"],
                 "'Dancing' is no value of PlayerPlayStatus; it has Stopped, Transitioning, Playing, Paused"),
                (["set", "PlayerVolume=256:u8"], "256"),
                (["set", "PlayerVolume=x:u8"], "'x' is no number: u8 needs one"),
                (["set", "4711=0:hex"], "'0' has half a byte too much"),
                (["set", "4711=0g:hex"], "'0g' is no byte in hexadecimal digits"),
                (["led", "Glow", "1"], "there is no LED command 'Glow'; there is LED_SetPalette, LED_SetPattern"),
                (["tunnel", "nowhere:port"], "'nowhere:port' is not PORT or ADDRESS:PORT"),
                (["states", "nothing"], "no state's name has 'nothing' in it")]:
            code, out, err = bench.run(*words)
            expect(" ".join(words), (code, out), (BAD_USAGE, ""))
            assert text in err, (words, err)
        bench.host.say("counts\n")
        bench.host.wait_for("messages")
    code, out, err = run(build, "hostlink", "--json", "get", "Volume", "--uart", "/nowhere")
    expect("in JSON", (code, json.loads(out)["error"], err), (BAD_USAGE, "BadUsage", ""))
    for words in [[], ["walk"], ["get"], ["get", "1", "--baud", "x"], ["get", "1", "--uart", "a", "--spi", "b"]]:
        code, out, err = run(build, "hostlink", *words)
        expect(" ".join(words), (code, out), (BAD_USAGE, ""))
        assert err, words
    for words, text in [(["get", "1"], "--uart DEVICE"), (["get", "1", "--spi", "a"], "--gpio"),
                        (["get", "1", "--i2c", "a", "--gpio", "1"], "--address")]:
        code, _, err = run(build, "hostlink", *words)
        expect(" ".join(words), code, BAD_USAGE)
        assert text in err, err


def NoLinkIsNoAnswer(build):
    code, out, err = run(build, "hostlink", "get", "PlayerVolume", "--uart", "/nowhere/port")
    expect("code", (code, out), (NO_LINK, ""))
    assert "cannot open /nowhere/port: No such file or directory" in err, err
    code, out, err = run(build, "hostlink", "--json", "get", "PlayerVolume", "--uart", "/nowhere/port")
    told = json.loads(out)
    expect("told", (code, told["error"], told["mayHaveBeenExecuted"], err), (NO_LINK, "LinkDown", False, ""))


def PressAndLedTellTheHost(build):
    with Bench(build) as bench:
        expect("press", bench.good("press", "3", "--down"), "BUT_KeyPressed 3\n")
        # The simulated host has no LEDs, and says so: at once, and heard when this machine finds the time.
        code, out, err = bench.run(*LED)
        expect("led", (code, out), (HOST_SAID_NO, ""))
        assert "does not support" in err, err


def WatchPrintsChangesAsTheyCome(build):
    with Bench(build) as bench, Program(*bench.words("--json", "watch", "PlayerVolume", "--count", "3")) as watch:
        watch.wait_for('"value":30')
        bench.host.say("set PlayerVolume 31\n")
        watch.wait_for('"value":31')
        bench.host.say("set PlayerVolume 32\n")
        expect("code", watch.end(), GOOD)
        lines = [json.loads(line) for line in watch.printed.splitlines()]
        expect("changes", [(each["state"], each["value"], each["read"]) for each in lines],
               [("PlayerVolume", 30, True), ("PlayerVolume", 31, False), ("PlayerVolume", 32, False)])
        assert all(time.strptime(each["time"][:19], "%Y-%m-%dT%H:%M:%S") for each in lines)


def WatchWithoutStatesTellsWhatTheHostHas(build):
    with Bench(build) as bench, Program(*bench.words("watch")) as watch:
        watch.wait_for("PlayerVolume = 30\n")
        watch.wait_for("HostFirmwareVersion = ")
        bench.host.say("set PlayerVolume 31\n")
        watch.wait_for("PlayerVolume = 31\n")
        watch.process.send_signal(signal.SIGINT)
        expect("code", watch.end(), GOOD)
        assert "no value" not in watch.printed, watch.printed


def WatchEndsWithItsReader(build):
    with Bench(build) as bench:
        watch = subprocess.Popen(bench.words("watch", "PlayerVolume"), stdout=subprocess.PIPE)
        expect("first", b"PlayerVolume = 30" in watch.stdout.readline(), True)
        watch.stdout.close()
        bench.host.say("set PlayerVolume 31\n")
        expect("code", watch.wait(PATIENCE), GOOD)


def press_until_ended(bench, events):
    """The program may not listen yet when the host presses, or hear the end of a press alone: until it has heard enough."""
    deadline = time.monotonic() + PATIENCE
    while events.process.poll() is None:
        assert time.monotonic() < deadline, "nothing heard"
        bench.host.say("press 7\n")
        try:
            events.process.wait(0.1)
        except subprocess.TimeoutExpired:
            pass


def EventsArePrinted(build):
    with Bench(build) as bench, Program(*bench.words("events", "--count", "2")) as events:
        press_until_ended(bench, events)
        expect("code", events.end(), GOOD)
        lines = events.printed.splitlines()
        expect("lines", sorted(line.split(") ")[1] for line in lines), ["BUT_KeyPressed 7", "BUT_KeyReleased 7"])


def CtrlCFreesTheDevice(build):
    with Bench(build, "--silent-every", "1") as bench:
        for _ in range(2):  # the second would find the port in use
            with Program(*bench.words("--json", "get", "PlayerVolume")) as get:
                bench.host.say("counts\n")
                get.process.send_signal(signal.SIGINT)
                code = get.end()
                if code == -signal.SIGINT:
                    continue  # it had not begun yet
                told = json.loads(get.printed)
                expect("told", (code, told["error"]), (UNKNOWN, "Cancelled"))


def FilesAreSentAndTheirEndIsTold(build):
    with Bench(build) as bench:
        content = bytes(range(256)) * 400
        with open(bench.path("file"), "wb") as file:
            file.write(content)
        told = bench.objects("send", bench.path("file"))[-1]
        expect("told", (told["bytes"], told["restarts"]), (len(content), 0))
        # A chunk goes out again when its answer has not come for a second.
        assert told["repeated"] <= told["ms"] // 1000, told
        code, _, err = bench.run("send", bench.path("none"))
        expect("no file", code, BAD_USAGE)
        assert "none" in err, err


# "Hello!" as a.bin, as docs/wire-format.md has it.
FIRST_CHUNK = bytes.fromhex("07 00 05 00 00 C5 05 00 61 2E 62 69 6E 06 00 CE 06 00 00 00 01 00 CE 00 00 00 00"
                            "02 00 C5 04 00 48 65 6C 6C 04 00 CE 04 9F 2E D9")
LAST_CHUNK = bytes.fromhex("07 00 04 01 00 CE 01 00 00 00 02 00 C5 02 00 6F 21 04 00 CE AB 51 54 A1 03 00 C0")


class SendingHost:
    """A host that says its version when it is asked, and sends what it is told to."""

    def __init__(self):
        self.answers = []
        self.asked = threading.Event()
        self.over = threading.Event()
        self.host = ScriptedHost(self.answer)
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def answer(self, host, message):
        kind = message[0] | message[1] << 8
        if kind == GET_MESSAGE:
            host.send(values(GET_MESSAGE | RESPONSE, text_item(FIRMWARE, b"1.0")))
            self.asked.set()
        elif kind == DATA | RESPONSE:
            self.answers.append(message)

    def serve(self):
        while not self.over.is_set() and self.host.serve(0.05):
            pass

    def send(self, message):
        """Until it has been answered."""
        assert self.asked.wait(PATIENCE)  # the port is open, and nothing that is sent gets lost
        known = len(self.answers)
        deadline = time.monotonic() + PATIENCE
        self.host.send(message)
        while len(self.answers) == known:
            assert time.monotonic() < deadline and self.thread.is_alive(), "no answer"
            self.over.wait(0.01)
        return self.answers[-1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.over.set()
        self.thread.join()
        self.host.close()


def ReceivePutsFilesIntoAFolder(build):
    with tempfile.TemporaryDirectory() as folder:
        def receiving(host, *words):
            return Program(os.path.join(build, "bin", "hostlink"), "--uart", host.host.path, *Bench.patience, "receive", folder, *words)

        path = os.path.join(folder, "a.bin")
        with SendingHost() as host, receiving(host, "--count", "1") as receive:
            receive.wait_for("waiting for files")
            host.send(FIRST_CHUNK)
            host.send(LAST_CHUNK)
            expect("code", receive.end(), GOOD)
            # Its last line: where the machine takes more than a second between the chunks, it tells how far it is.
            expect("told", receive.printed.splitlines()[-1], path + ": 6 bytes, checksum 0xce6b1933")
        with open(path, "rb") as file:
            expect("content", file.read(), b"Hello!")
        # A file that is there stays.
        with SendingHost() as host, receiving(host) as receive:
            receive.wait_for("waiting for files")
            refusal = host.send(FIRST_CHUNK)
            expect("refused", refusal[-3:], bytes.fromhex("05 00 C0"))
            receive.process.send_signal(signal.SIGINT)
            expect("code", receive.end(), HOST_SAID_NO)
            assert "is there already; --force" in receive.process.stderr.read().decode()
        expect("nothing else", os.listdir(folder), ["a.bin"])


def ReceiveTakesFilesOfTheSimulator(build):
    given = bytes(i * 7 & 0xFF for i in range(9000))
    with tempfile.TemporaryDirectory() as folder:
        for name in ("a b.bin", "second"):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(given)
        faults = ("--damage-chunk-every", "3", "--lose-chunk-every", "7")
        with Bench(build, "--send", os.path.join(folder, "a b.bin"), *faults) as bench:
            os.mkdir(bench.path("got"))
            with Program(*bench.words("receive", bench.path("got"), "--count", "2")) as receive:
                bench.host.wait_for("a b.bin: complete, 9000 bytes, checksum 0x")
                bench.host.say("send-file %s\n" % os.path.join(folder, "second"))
                expect("code", receive.end(), GOOD)
                bench.host.wait_for("second: complete, 9000 bytes, checksum 0x")
            for name in ("a b.bin", "second"):
                with open(os.path.join(bench.path("got"), name), "rb") as file:
                    expect(name, file.read(), given)


def ReceiveSaysThatTheHostHasEndedAFile(build):
    with Bench(build, "--json", "--baud", "115200") as bench:
        os.mkdir(bench.path("got"))
        with open(bench.path("large"), "wb") as file:
            file.write(bytes(1000000))
        with Program(*bench.words("receive", bench.path("got"))) as receive:
            receive.wait_for("waiting for files")
            bench.host.say("send-file %s\n" % bench.path("large"))
            deadline = time.monotonic() + PATIENCE
            while not os.listdir(bench.path("got")):  # it has begun
                assert time.monotonic() < deadline, "no file comes"
                time.sleep(0.01)
            bench.host.say("abort-file\n")
            bench.host.wait_for('"name":"large","end":"cancelled"')
            while os.listdir(bench.path("got")):  # and is taken away
                assert time.monotonic() < deadline, "the part stays"
                time.sleep(0.01)
            receive.process.send_signal(signal.SIGINT)
            expect("code", receive.end(), HOST_SAID_NO)
            assert "large has not come whole: Aborted" in receive.process.stderr.read().decode()
        bench.host.say("send-file /nowhere\n")
        bench.host.wait_for("cannot read the file '/nowhere'")


def PingCountsAnswers(build):
    with Bench(build) as bench:
        lines = bench.objects("ping", "--count", "3", "--interval", "1")
        expect("answers", [each.get("answer") for each in lines], [1, 2, 3, None])
        expect("summary", (lines[3]["sent"], lines[3]["answered"], lines[3]["lossPercent"]), (3, 3, 0))
        assert 0 < lines[3]["leastMs"] <= lines[3]["medianMs"] <= lines[3]["mostMs"]
        rows = lines[3]["histogram"]
        expect("histogram", sum(row["answers"] for row in rows), 3)
        assert rows[-1]["belowMs"] > lines[3]["mostMs"] and rows[0]["belowMs"] > lines[3]["leastMs"], lines[3]
        text = bench.good("ping", "--count", "1").splitlines()
        assert text[1].startswith("1 sent, 1 answered, 0.000 % lost; least "), text
        assert text[-1].endswith(40 * "#"), text
    code, out, _ = run(build, "hostlink", "ping", "--count", "2", "--interval", "1", "--uart", "/nowhere")
    expect("nobody", (code, out), (NO_LINK, "2 sent, 0 answered, 100.000 % lost\n"))


def TunnelSaysWhereItListens(build):
    with Bench(build) as bench, Program(*bench.words("--json", "tunnel", "0")) as tunnel:
        tunnel.wait_for("\n")
        told = json.loads(tunnel.printed)
        expect("address", told["listening"], "127.0.0.1")
        assert told["port"] > 0
        tunnel.process.send_signal(signal.SIGTERM)
        expect("code", tunnel.end(), GOOD)
        expect("connections", json.loads(tunnel.printed.splitlines()[1])["opened"], 0)


def ProfilesNameWires(build):
    with Bench(build) as bench:
        profiles = bench.path("profiles.toml")
        with open(profiles, "w", encoding="utf-8") as file:
            file.write('[bench]\nuart = "%s"\nbaud = 460800\n[bus]\ni2c = "/dev/i2c-1"\naddress = "0x42"\ngpio = 5\n'
                       '[bad]\nuart = "/dev/ttyS1"\nbauds = 1\n[none]\nbaud = 9600\n' % bench.line)
        expect("get", run(build, "hostlink", "--config", profiles, "--profile", "bench", "get", "PlayerVolume"),
               (GOOD, "PlayerVolume = 30\n", ""))
        code, out, err = run(build, "hostlink", "--config", profiles, "profiles")
        expect("list", (code, out.splitlines()),
               (BAD_USAGE, ["bench\tuart %s, 460800 baud" % bench.line, "bus\ti2c /dev/i2c-1, address 66, gpio 5"]))
        assert "profile bad: " in err and "--bauds" in err and "profile none: which wire" in err, err
        code, _, err = run(build, "hostlink", "--config", profiles, "--profile", "other", "get", "1")
        expect("unknown", (code, err), (BAD_USAGE, "hostlink: there is no profile 'other' in %s\n" % profiles))
        os.mkdir(bench.path("hostlink"))
        os.rename(profiles, bench.path("hostlink/profiles.toml"))
        environment = dict(os.environ, XDG_CONFIG_HOME=bench.folder.name)
        expect("usual place", run(build, "hostlink", "get", "PlayerVolume", "--profile", "bench", env=environment),
               (GOOD, "PlayerVolume = 30\n", ""))
        code, _, err = run(build, "hostlink", "get", "PlayerVolume", "--profile", "bench", "--uart", "/nowhere",
                           env=environment)
        expect("the command line is above it", (code, "cannot open /nowhere" in err), (NO_LINK, True))


def ExplainKnowsNumbersNamesAndLinesOfTheLog(build):
    def explained(*words):
        code, out, err = run(build, "hostlink", "--json", "explain", *words)
        expect(" ".join(words), (code, err), (GOOD, ""))
        return [json.loads(line) for line in out.splitlines()]

    expect("state", explained("PlayerPlayStatus"),
           [{"kind": "state", "name": "PlayerPlayStatus", "number": 11,
             "text": "Stopped 0, Transitioning 1, Playing 2, Paused 3"}])
    expect("number", {(each["kind"], each["name"]) for each in explained("2")} >= {("message", "GetStateMessage")}, True)
    # A line as the library writes it, its level and logger before it.
    line = explained("ERROR HostLinkPhysicalLayer - Expected ack, got something else: 3 valid: 1")[0]
    assert line["line"].startswith("`Expected ack, got something else"), line
    assert line["remedy"].startswith("wiring, speed"), line
    lines = explained("Uart /dev/ttyS1: cannot set the line to 921600 baud: the driver does 100000 instead")
    assert lines[0]["line"] == "`cannot set the line to N baud: the driver does N instead`", lines
    for words in [("02", "00", "01", "15", "00"), ("02 00 01 15 00",), ("0x02,", "0x00,", "0x01,", "0x15,", "0x00")]:
        expect("message", explained(*words)[0]["text"].splitlines(),
               ["0x0002 - message id: GetStateMessage", "0x01 - count: 1", "0x0015 - state: AudioSourceID"])
    expect("packet and message", [each["kind"] for each in explained(*GET.split())], ["packet", "message"])
    expect("in one word", [each["kind"] for each in explained(ACK.replace(" ", ""))], ["packet"])
    irq = explained("FF FE 0E 00 22 07 00 00 40 00 00 00 00 00")[0]["text"].splitlines()
    assert irq[-1].startswith("0x00000040"), irq
    code, out, err = run(build, "hostlink", "explain", "what", "nobody", "writes")
    expect("nothing", (code, out), (BAD_USAGE, ""))
    assert "'what nobody writes' is no state" in err, err


# Get state 0x0015, then its acknowledgement.
GET = "FF FE 0F 00 23 2A 00 00 02 00 01 15 00 00 00"
ACK = "FF FE 08 00 A3 2A 00 00"


def decoded(build, text, *words):
    done = subprocess.run([os.path.join(build, "bin", "hostlink"), "--json", "decode", *words], input=text,
                          capture_output=True, timeout=PATIENCE, check=False)
    return done.returncode, [json.loads(line) for line in done.stdout.decode().splitlines()]


def kinds(lines):
    return [(each["kind"], each["at"], each["bytes"]) for each in lines]


def DecodeReadsWhatPeoplePaste(build):
    raw = bytes.fromhex(GET + ACK)
    wanted = [("packet", 0, 15), ("message", 0, 5), ("packet", 15, 8)]
    xxd = (b"00000000: fffe 0f00 232a 0000 0200 0115 0000 00ff  ....#*..........\n"
           b"00000010: fe08 00a3 2a00 00                        ....*..\n")
    canonical = (b"00000000  ff fe 0f 00 23 2a 00 00  02 00 01 15 00 00 00 ff  |....#*..........|\n"
                 b"00000010  fe 08 00 a3 2a 00 00                              |....*..|\n00000017\n")
    listed = b", ".join(b"0x%02x" % byte for byte in raw)
    for text in [(GET + "\n" + ACK).encode(), (GET + ACK).replace(" ", "").encode(), listed, xxd, canonical, raw]:
        code, lines = decoded(build, text)
        expect(repr(text), (code, kinds(lines)), (GOOD, wanted))
    code, lines = decoded(build, b"", "--bytes", GET)
    expect("message", lines[1]["text"].splitlines(),
           ["0x0002 - message id: GetStateMessage", "0x01 - count: 1", "0x0015 - state: AudioSourceID"])
    code, out, err = run(build, "hostlink", "decode", "--bytes", "FF FG")
    expect("no bytes", (code, out, err), (BAD_USAGE, "", "hostlink: line 1: 'FG' is no bytes: two hexadecimal digits each\n"))


def DecodeFindsItsWayBack(build):
    for text, wanted in [
            # Garbage before, half a start mark in it.
            ("00 FF 12 " + ACK, [("no packet", 0, 3), ("packet", 3, 8)]),
            # A length that reaches over the next packet, and one that reaches past the end.
            ("FF FE 10 00 23 00 00 00 02 00 01 " + ACK, [("no packet", 0, 11), ("packet", 11, 8)]),
            ("FF FE 00 10 23 00 00 00 02 00 01 " + ACK, [("no packet", 0, 11), ("packet", 11, 8)]),
            # Lengths that no packet has.
            ("FF FE 09 00 A3 2A 00 00 " + ACK, [("no packet", 0, 8), ("packet", 8, 8)]),
            # The end is missing.
            (ACK + " " + GET[:-3], [("packet", 0, 8), ("cut off", 8, 14)]),
            (ACK + " FF FE", [("packet", 0, 8), ("cut off", 8, 2)]),
            # Two packets of one message, an answer between them.
            ("FF FE 0D 00 03 05 00 00 02 00 01 00 00 " + ACK + " FF FE 0C 00 23 05 01 00 15 00 00 00",
             [("packet", 0, 13), ("packet", 13, 8), ("packet", 21, 12), ("message", 21, 5)])]:
        code, lines = decoded(build, text.encode())
        bad = any(kind != "packet" and kind != "message" for kind, _, _ in wanted)
        expect(text, (code, kinds(lines)), (HOST_SAID_NO if bad else GOOD, wanted))


def ManualNamesEveryCommandAndOption(build):
    code, page, _ = run(build, "hostlink", "manual")
    expect("code", code, GOOD)
    page = page.replace("\\-", "-")
    _, text, _ = run(build, "hostlink", "--help")
    names = {word.split("=")[0].split(":")[0] for word in text.split() if word.startswith("--")} - {"--help"}
    commands = [line.split()[0] for line in text.split("Subcommands:")[1].split("Exit code")[0].splitlines() if line.strip()]
    assert len(names) > 12 and len(commands) > 12, (names, commands)
    for name in names:
        assert ".B " + name in page, name
    for command in commands:
        assert ".SS \\fB" + command + "\\fR" in page, command


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
