"""recording_test.py BUILD_DIRECTORY TEST: recordings, as people and Wireshark make, read and play them."""
import collections
import errno
import json
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import tty

from command_contract_test import Schema
from command_test import BAD_USAGE, GOOD, HOST_SAID_NO, NO_LINK, Bench
from programs_test import PATIENCE, Program, expect, run
from scripted_host import EVENT, FIRMWARE, GET, RESPONSE, ScriptedHost, text_item, values

TOP = pathlib.Path(__file__).resolve().parents[2]
RECORDINGS = TOP / "tests/recordings"
DISSECTOR = TOP / "dissector/hostlink.lua"
SKIPPED = 77
FROM_HOST, TO_HOST = 1, 2  # inbound and outbound

GET_VOLUME = "ff fe 0f 00 23 {} 00 00 02 00 01 09 00 00 00"  # with its frame id
VOLUME_30 = "02 80 01 09 00 cc 1e"


class Recorded:
    """The blocks of a pcapng file, by nobody's library: little-endian, as this machine writes it."""

    def __init__(self, path):
        content = pathlib.Path(path).read_bytes()
        self.interfaces, self.packets, self.left, at = [], [], 0, 0
        while at < len(content):
            kind, length = struct.unpack_from("<II", content, at) if len(content) - at >= 12 else (0, 1 << 32)
            if at + length > len(content):
                self.left = len(content) - at
                break
            expect("length behind", struct.unpack_from("<I", content, at + length - 4)[0], length)
            body = content[at + 8:at + length - 4]
            if kind == 0x0A0D0D0A:
                self.interfaces = []
            elif kind == 1:
                self.interfaces.append(self.options(body[8:]))
            elif kind == 6:
                interface, high, low, size, _ = struct.unpack_from("<IIIII", body)
                told = self.options(body[20 + (size + 3 & ~3):])
                self.packets.append((struct.unpack("<I", told[2])[0] if 2 in told else 0, body[20:20 + size].hex(" "),
                                     told.get(1, b"").decode(), high << 32 | low))
            at += length

    @staticmethod
    def options(body):
        found, at = {}, 0
        while at + 4 <= len(body):
            code, length = struct.unpack_from("<HH", body, at)
            if code == 0:
                break
            found[code] = body[at + 4:at + 4 + length]
            at += 4 + (length + 3 & ~3)
        return found

    def description(self):
        return [each[3].decode() for each in self.interfaces]

    def bytes_of(self, direction):
        return " ".join(data for way, data, _, _ in self.packets if way == direction and data)


def wait_until(true, what):
    deadline = time.monotonic() + PATIENCE
    while not true():
        assert time.monotonic() < deadline, "never: " + what
        time.sleep(0.01)


def only_file(folder):
    found = sorted(pathlib.Path(folder).glob("*.pcapng"))
    return found[0] if len(found) == 1 else None


def tshark(*words):
    done = subprocess.run(["tshark", "-X", f"lua_script:{DISSECTOR}", *map(str, words)], capture_output=True,
                          timeout=PATIENCE, check=False, env={**os.environ, "HOME": "/nonexistent", "TZ": "UTC"})
    expect("tshark", done.returncode, 0)
    return done.stdout.decode()


def needs(*programs):
    for program in programs:
        if shutil.which(program) is None:
            print("skipped: there is no " + program)
            sys.exit(SKIPPED)


def replay(build, *words):
    code, out, err = run(build, "hostlink", "--json", "replay", *map(str, words))
    print(out, err)
    # What a program that is played to prints stands between.
    lines = Schema().check("replay", "\n".join(line for line in out.splitlines() if line.startswith("{")))
    return code, lines


def OptionRecordsAConversation(build):
    with Bench(build) as bench:
        path = bench.path("get.pcapng")
        expect("volume", bench.good("--record", path, "get", "PlayerVolume"), "PlayerVolume = 30\n")
        recorded = Recorded(path)
        expect("wire", recorded.description(), ["uart bytes, 115200 baud"])
        expect("device", recorded.interfaces[0][2].decode(), bench.line)
        # The host's version first, then the volume; each is asked again where the answer takes its time.
        verdicts = [words for _, _, words, _ in recorded.packets if words]
        assert verdicts.count("verdict Accepted") >= 2, recorded.packets
        assert re.search(GET_VOLUME.format("[0-9a-f]{2}"), recorded.bytes_of(TO_HOST)), recorded.packets
        assert VOLUME_30 in recorded.bytes_of(FROM_HOST), recorded.packets
        times = [when for _, _, _, when in recorded.packets]
        expect("order", times, sorted(times))
        assert abs(times[0] / 1e9 - time.time()) < 1000, times
        code, _, err = bench.run("--record", bench.path("no/where.pcapng"), "get", "PlayerVolume")
        expect("no folder", (code, "No such file or directory" in err), (BAD_USAGE, True))


def OtherProgramsReadRecordings(build):
    needs("tshark", "capinfos")
    with Bench(build) as bench:
        path = bench.path("get.pcapng")
        bench.good("--record", path, "get", "PlayerVolume")
        packets = Recorded(path).packets
        shown = tshark("-r", path, "-T", "fields", "-e", "frame.packet_flags_direction", "-e", "frame.comment", "-e",
                       "frame.time_epoch", "-E", "separator=|")
        rows = [line.split("|") for line in shown.splitlines()]
        expect("direction", [int(row[0], 0) for row in rows], [way for way, _, _, _ in packets])
        expect("comments", [row[1] for row in rows], [words for _, _, words, _ in packets])
        expect("times", [int(row[2].replace(".", "")) for row in rows], [when for _, _, _, when in packets])
        shown = tshark("-r", path, "-Y", "hostlink.verdict", "-T", "fields", "-e", "_ws.col.Info")
        verdicts = [words.split()[1] for _, _, words, _ in packets if words]
        expect("verdicts", shown.splitlines(), ["verdict of the link: " + each for each in verdicts])
        assert verdicts.count("Accepted") >= 2, verdicts
        directions = tshark("-r", path, "-Y", 'hostlink.item == "PlayerVolume = 30"', "-T", "fields", "-e",
                            "hostlink.direction")  # of the packet, and of the answer where both were read at once
        expect("to the module", set(directions.replace(",", "\n").split()), {"1"})
        told = subprocess.run(["capinfos", "-M", "-c", "-n", path], capture_output=True, check=True).stdout.decode()
        assert f"Number of packets:   {len(packets)}\n" in told, told


def can_be_opened(line):
    """Not by an ordinary user while the mark stands that a killed program has left, and the simulator takes away."""
    try:
        os.close(os.open(line, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK))
    except OSError as error:
        expect("why not", error.errno, errno.EBUSY)
        return False
    return True


def KilledProgramLeavesItsRecording(build):
    with Bench(build) as bench:
        folder = bench.path("ring")
        environment = {**os.environ, "HOSTLINK_RECORD": folder}
        with subprocess.Popen(bench.words("watch", "PlayerVolume"), stdout=subprocess.PIPE, env=environment) as watch:
            assert b"PlayerVolume = 30" in watch.stdout.readline()
            bench.host.say("set PlayerVolume 31\n")
            assert b"PlayerVolume = 31" in watch.stdout.readline()
            # It is written by itself, within the second that may be lost; how long that is on a busy machine nobody knows.
            change = "04 00 01 09 00 cc 1f"
            wait_until(lambda: change in Recorded(only_file(folder)).bytes_of(FROM_HOST), "the change is written")
            watch.kill()
        recorded = Recorded(only_file(folder))
        expect("cut off", recorded.left, 0)
        assert VOLUME_30 in recorded.bytes_of(FROM_HOST)
        # The next program goes on in the ring.
        wait_until(lambda: can_be_opened(bench.line), "the mark of exclusive use is gone")
        code, _, _ = run(build, "hostlink", "get", "PlayerVolume", "--uart", bench.line, *bench.patience, env=environment)
        expect("next", (code, len(list(pathlib.Path(folder).glob("hostlink-00000[12]-*.pcapng")))), (GOOD, 2))


class CountingHost(ScriptedHost):
    """Sends events with numbers, and notes when each has been acknowledged."""

    def __init__(self):
        super().__init__(lambda host, message: host.say(values(GET | RESPONSE, text_item(FIRMWARE, b"1.0"))))
        self.said, self.acknowledged = [], []

    def say(self, message):
        self.said.append(message)
        self.send(message)

    def take_packet(self):
        is_response = self.received[2:4] == b"\x08\0"
        taken = super().take_packet()
        if taken and is_response:
            self.acknowledged.append(time.time_ns())  # by the clock of the recording
        return taken

    def talk(self, seconds, count):
        """Until so many have been acknowledged so long ago, and as long again as the machine has let the test stand at
        most; gives the end of that time."""
        longest, due, deadline = 0, 0, time.monotonic() + PATIENCE
        while True:
            old = time.time_ns() - int((seconds + longest) * 1e9)
            if len(self.acknowledged) >= count and self.acknowledged[count - 1] < old:
                return old
            began = time.monotonic()
            assert began < deadline and self.serve(0.01), "nobody is there"
            longest = max(longest, time.monotonic() - began - 0.01)
            if self.said and len(self.acknowledged) == len(self.said) and began > due:
                due = began + 0.005
                self.say(values(EVENT, struct.pack("<HBI", 1, 0xCE, len(self.said))))


def _left_out_by_a_kill(build):
    """What the host had got acknowledged a second before, and the recording of the killed program has not."""
    host = CountingHost()
    with tempfile.TemporaryDirectory() as folder:
        words = [os.path.join(build, "bin", "hostlink"), "--uart", host.path, *Bench.patience, "events"]
        with subprocess.Popen(words, stdout=subprocess.DEVNULL, env={**os.environ, "HOSTLINK_RECORD": folder}) as program:
            young = host.talk(1, count=50)
            program.kill()
        host.close()
        recorded = Recorded(only_file(folder))
    if recorded.left:
        return ["%d bytes of a piece that was being written" % recorded.left]
    old = [message.hex(" ") for message, when in zip(host.said, host.acknowledged) if when < young]
    print("%d of %d messages are old" % (len(old), len(host.said)))
    received, at = recorded.bytes_of(FROM_HOST), 0
    for number, message in enumerate(old):
        at = received.find(message, at)
        if at < 0:
            return old[number:]
    answers = recorded.bytes_of(TO_HOST).count("ff fe 08 00 a3")
    return old[answers:]


def KilledProgramLeavesAllButTheLastSecond(build):
    """What the machine takes from the recorder alone is not the recorder's: then it is killed once more."""
    for _ in range(3):
        left_out = _left_out_by_a_kill(build)
        if not left_out:
            return
        print("left out:", left_out)
    assert False, "three times"


def DecodePrintsARecording(build):
    with Bench(build) as bench:
        path = bench.path("get.pcapng")
        bench.good("--record", path, "get", "PlayerVolume")
        code, out, _ = run(build, "hostlink", "--json", "decode", path)
        lines = [json.loads(line) for line in out.splitlines()]
        messages = [(line["direction"], line["hex"]) for line in lines if line["kind"] == "message"]
        # Each once, also where the answer took its time and the question was asked again.
        expect("messages", (code, [each for each in dict.fromkeys(messages) if "09 00" in each[1]]),
               (GOOD, [("toHost", "02 00 01 09 00"), ("fromHost", VOLUME_30)]))
        assert all(len(line["time"]) == len("12:00:00.000000") for line in lines), lines
        damaged = bench.path("damaged.pcapng")
        pathlib.Path(damaged).write_bytes(pathlib.Path(path).read_bytes()[:-8] + b"damaged!")
        code, _, err = run(build, "hostlink", "decode", damaged)
        expect("damaged", (code, "two lengths" in err), (BAD_USAGE, True))


# The programs that were recorded, and what each said to the simulated host.
def _programs(build):
    command = os.path.join(build, "bin", "hostlink")
    states = ["PlayerVolume", "PlayerPlayStatus", "MetaTitle", "MetaArtist", "MetaAlbum", "HostFirmwareVersion"]
    return {"demo": [os.path.join(build, "bin", "hostlink-demo"), "--device", "{}", "--file-size", "2000"],
            "damaged": [command, "--uart", "{}", "--timeout", "60000", "get", *states],
            "file": [command, "--uart", "{}", "--timeout", "60000", "send", str(RECORDINGS / "file.txt")]}


def _questions(path):
    """The messages of the program, and how often each was said; what the link alone repeats is said once."""
    packets = {data for way, data, _, _ in Recorded(path).packets if way == TO_HOST and data[12:14] in ("03", "23")}
    return collections.Counter(data[24:-6] for data in packets if len(data) > 30)


def comes_as_recorded(path, play):
    """How many packets came as they did, in what `play` gives. A program that has no answer for a second, because the machine
    stands still, rightly asks again, when it is recorded or when it is played: then it is played once more, twice at most."""
    for _ in range(3):
        code, lines = play()
        said = _questions(path)
        asked_again = [line["came"] for line in lines if line["kind"] == "different" and line["came"][24:-6] in said]
        if not lines[:-1] or not (asked_again or max(said.values()) > 1):
            break
        print("asked again:", asked_again, said)
    expect("as recorded", (code, lines[:-1], lines[-1]["same"], lines[-1]["different"]), (GOOD, [], lines[-1]["expected"], 0))
    return lines[-1]["expected"]


def _comes_as_recorded(build, name, packets):
    path = RECORDINGS / f"{name}.pcapng"
    expect(name, comes_as_recorded(path, lambda: replay(build, path, "--patience", "30000", "--", *_programs(build)[name])),
           packets)


def RecordedDemoComesAsRecorded(build):
    _comes_as_recorded(build, "demo", 63)


def RecordedDamageIsGotOverAsRecorded(build):
    _comes_as_recorded(build, "damaged", 9)


def RecordedFileComesAsRecorded(build):
    _comes_as_recorded(build, "file", 34)


def HostAnswersAsRecorded(build):
    for arguments in ([], ["--speed", "recorded"]):
        # One each, which goes on as it did, however late it is acknowledged.
        with Bench(build, "--response-timeout", "60000") as bench:
            code, lines = replay(build, RECORDINGS / "file.pcapng", "--uart", bench.line, "--patience", "30000",
                                 *arguments)
            expect("host", (code, lines[-1]["same"], len(lines)), (GOOD, lines[-1]["expected"], 1))


def ReplayTellsWhatIsDifferent(build):
    with Bench(build) as bench:
        path = bench.path("get.pcapng")
        bench.good("--record", path, "get", "PlayerVolume", "PlayerPlayStatus")
        bench.good("set", "PlayerVolume=31")
        code, lines = replay(build, path, "--uart", bench.line, "--patience", "30000")
        *different, end = lines  # one, or more where the answer took its time and the question was asked again
        expect("code", (code, {each["kind"] for each in different}), (HOST_SAID_NO, {"different"}))
        assert all("09 00 cc 1e" in each["expected"] and "09 00 cc 1f" in each["came"] for each in different), different
        expect("counts", (end["different"], end["expected"] - end["same"]), (len(different), len(different)))
        bench.host.__exit__()
        # Nobody answers: given up, with what did not come.
        code, lines = replay(build, path, "--link", bench.path("line"), "--patience", "1")
        expect("silent", (code, {line["kind"] for line in lines}, "given up" in lines[-1]["problem"]),
               (HOST_SAID_NO, {"missing", "end"}, True))
        code, lines = replay(build, path, "--", os.path.join(build, "bin", "hostlink"), "--version-of-nothing")
        expect("program", (code, {line["kind"] for line in lines[:-1]}, lines[-1]["same"]), (HOST_SAID_NO, {"missing"}, 0))


def ReplayRefusesWhatItCannotPlay(build):
    with Bench(build) as bench:
        path = pathlib.Path(bench.path("x.pcapng"))
        refused = []
        for content, words in ((b"no recording", []), (b"", []), ((RECORDINGS / "file.pcapng").read_bytes(),
                                                                   ["--i2c", "/dev/i2c-1"])):
            path.write_bytes(content)
            refused.append(run(build, "hostlink", "replay", path, *words)[0])
        refused.append(run(build, "hostlink", "replay", bench.path("none"))[0])
        refused.append(run(build, "hostlink", "replay", RECORDINGS / "file.pcapng", "--wire", "other")[0])
        refused.append(run(build, "hostlink", "replay", RECORDINGS / "file.pcapng", "--", "/no/such/program")[0])
        expect("all", refused, 6 * [BAD_USAGE])


class Line:
    """A pseudo terminal: a program opens its path, the test writes what that receives."""

    def __init__(self):
        self.master, self.slave = os.openpty()
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)

    def say(self, text):
        os.write(self.master, bytes.fromhex(text))


def TapRecordsBothLines(build):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "tap.pcapng")
        to_host, from_host = Line(), Line()
        words = [os.path.join(build, "bin", "hostlink"), "record", path, "--tap", to_host.path, from_host.path, "--baud",
                 "9600"]
        with subprocess.Popen(words, stderr=subprocess.PIPE, stdout=subprocess.PIPE) as tap:
            assert b"recording both lines" in tap.stdout.readline()
            to_host.say(GET_VOLUME.format("07"))
            wait_until(lambda: GET_VOLUME.format("07") in Recorded(path).bytes_of(TO_HOST), "the first line is recorded")
            from_host.say("ff fe 08 00 a3 00 00 00")
            wait_until(lambda: len(Recorded(path).packets) > 1, "the second line is recorded")
            tap.send_signal(signal.SIGINT)
            expect("exit code", tap.wait(PATIENCE), GOOD)
        recorded = Recorded(path)
        expect("wire", recorded.description(), ["uart bytes, 9600 baud, a tap of both lines"])
        expect("from host", recorded.bytes_of(FROM_HOST), "ff fe 08 00 a3 00 00 00")
        code, _, err = run(build, "hostlink", "record", path, "--tap", to_host.path, "/dev/null")
        expect("no port", (code, "cannot open /dev/null" in err), (BAD_USAGE, True))


def _recorded_ping(bench):
    """A program that has a recorder, and its process id."""
    environment = {**os.environ, "HOSTLINK_RECORD": bench.path("ring"), "HOSTLINK_RECORD_MIB": "1"}
    ping = subprocess.Popen(bench.words("ping", "--interval", "20"), stdout=subprocess.DEVNULL, env=environment)
    wait_until(lambda: f"\n{ping.pid} " in "\n" + run(bench.build, "hostlink", "record", "--list")[1], "it is listed")
    return ping


def RunningRecorderIsGoneAlongWith(build):
    with Bench(build) as bench:
        ping = _recorded_ping(bench)
        listed = Schema().check("record", run(build, "hostlink", "--json", "record", "--list")[1])
        assert str(ping.pid) in [each["recorder"] for each in listed]
        path = bench.path("beside.pcapng")
        words = [os.path.join(build, "bin", "hostlink"), "--json", "record", path, "--from", str(ping.pid)]
        with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as beside:
            wait_until(lambda: os.path.exists(path) and len(Recorded(path).packets) > 20, "it is recorded")
            ping.kill()
            ping.wait()
            said = beside.communicate(timeout=PATIENCE)[0].decode()
            expect("ends with it", beside.returncode, GOOD)
            expect("lines", [list(each) for each in Schema().check("record", said)], [["packets"]])
        recorded = Recorded(path)
        expect("wire", recorded.description(), ["uart bytes, 115200 baud"])
        assert "verdict Accepted" in [words for _, _, words, _ in recorded.packets]
        code, _, err = run(build, "hostlink", "record", path, "--from", str(ping.pid))
        expect("gone", (code, "there is no recorder" in err), (BAD_USAGE, True))


def ExtcapAnswersWireshark(build):
    with Bench(build) as bench:
        ping = _recorded_ping(bench)
        name = f"hostlink-recorder-{ping.pid}"
        _, listed, _ = run(build, "hostlink", "extcap", "--extcap-interfaces", "--extcap-version=4.0")
        lines = listed.splitlines()
        assert lines[0].startswith("extcap {version="), lines
        values = [line.split("{value=")[1].split("}")[0] for line in lines[1:]]
        assert "hostlink-tap" in values and name in values, lines
        expect("link type", run(build, "hostlink", "extcap", "--extcap-dlts", "--extcap-interface", name)[1],
               "dlt {number=147}{name=USER0}{display=Host link}\n")
        expect("settings", run(build, "hostlink", "extcap", "--extcap-config", "--extcap-interface", name)[1], "")
        settings = run(build, "hostlink", "extcap", "--extcap-config", "--extcap-interface", "hostlink-tap")[1]
        expect("of a tap", [line.split("{call=")[1].split("}")[0] for line in settings.splitlines() if "{call=" in line],
               ["--to-host", "--from-host", "--baud", "--parity"])
        pipe = bench.path("pipe")
        os.mkfifo(pipe)
        words = [os.path.join(build, "bin", "hostlink"), "extcap", "--capture", "--extcap-interface", name, "--fifo", pipe]
        with subprocess.Popen(words) as capture:
            with open(pipe, "rb") as packets:  # which ends before the program does
                expect("begins with a section", packets.read(4).hex(), "0a0d0d0a")
                packets.read(4096)
            expect("ends with its reader", capture.wait(PATIENCE), GOOD)
        ping.kill()
        ping.wait()
        for wrong in (["--extcap-interface", name, "--fifo", bench.path("x")], ["--extcap-interface", name],
                      ["--extcap-interface", "eth0", "--fifo", bench.path("x")],
                      ["--extcap-interface", "hostlink-tap", "--fifo", bench.path("x")]):
            expect(wrong[1], run(build, "hostlink", "extcap", "--capture", *wrong)[0], BAD_USAGE)


def WiresharkCapturesLive(build):
    """In a namespace in which the folder where it looks holds our program."""
    needs("tshark", "unshare")
    told = subprocess.run(["tshark", "-G", "folders"], capture_output=True, check=True).stdout.decode()
    place = [line.split(":", 1)[1].strip() for line in told.splitlines() if line.startswith("Extcap path:")][0]
    if subprocess.run(["unshare", "-rm", "true"], capture_output=True).returncode != 0 or not os.path.isdir(place):
        print("skipped: no namespace, or no folder " + place)
        sys.exit(SKIPPED)
    with Bench(build) as bench:
        ours = bench.path("extcap")
        os.mkdir(ours)
        script = os.path.join(ours, "hostlink-extcap")
        text = (TOP / "dissector/hostlink-extcap.in").read_text(encoding="utf-8")
        pathlib.Path(script).write_text(text.replace("@program@", os.path.abspath(os.path.join(build, "bin", "hostlink"))),
                                        encoding="utf-8")
        os.chmod(script, 0o755)
        ping = _recorded_ping(bench)
        done = subprocess.run(["unshare", "-rm", "sh", "-c", 'mount --bind "$1" "$2" && shift 2 && exec "$@"', "sh", ours,
                               place, "tshark", "-X", f"lua_script:{DISSECTOR}", "-i", f"hostlink-recorder-{ping.pid}", "-c",
                               "20", "-T", "fields", "-e", "hostlink.message"], capture_output=True, timeout=PATIENCE,
                              check=False)
        ping.kill()
        ping.wait()
        lines = done.stdout.decode().split()
        print(done.stderr.decode())
        expect("tshark", (done.returncode, set(lines) - {""}), (0, {"0x0002", "0x8002"}))


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
