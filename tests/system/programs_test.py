"""programs_test.py BUILD_DIRECTORY TEST: zent-hostsim and hostlink-ten-lines as people and other programs use them."""
import fcntl
import json
import os
import select
import subprocess
import sys
import tempfile
import termios
import time
import tty

PATIENCE = 300  # seconds until a test that hangs is given up; nothing here takes long by itself


def expect(what, seen, wanted):
    assert seen == wanted, "%s: %r instead of %r" % (what, seen, wanted)


def run(build, program, *arguments, text="", folder=None, **other):
    done = subprocess.run([os.path.join(build, "bin", program), *arguments], input=text.encode(), cwd=folder,
                          capture_output=True, timeout=PATIENCE, check=False, **other)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


class Program:
    """A program that goes on running; its standard output can be waited for."""

    def __init__(self, *words):
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.printed = ""

    def wait_for(self, text):
        deadline = time.monotonic() + PATIENCE
        while text not in self.printed:
            left = deadline - time.monotonic()
            assert left > 0 and select.select([self.process.stdout], [], [], left)[0], self.printed
            more = self.process.stdout.read1(4096).decode()
            assert more, "ended: " + self.printed + self.process.stderr.read().decode()
            self.printed += more

    def say(self, text):
        self.process.stdin.write(text.encode())
        self.process.stdin.flush()

    def end(self):
        """Its exit code, once it ends by itself."""
        self.process.stdin.close()
        self.printed += self.process.stdout.read().decode()
        return self.process.wait(PATIENCE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()


def kill_simulator(simulator, line):
    """As kill -9 does. The link goes first, as a killed one cannot remove it: left behind, it would lead to whatever
    terminal gets the number next, and that may be the one of a test that runs beside this."""
    os.remove(line)
    simulator.process.kill()
    simulator.process.wait()


def JsonIsOneObjectALine(build):
    commands = ["help", "get PlayerVolume", "get 9999", 'set MetaTitle text:a "b" \\ \t \u00fc', "get MetaTitle",
                "set 5000 u64:18446744073709551615", "get 5000", "set 5000 i8:-3", "get 5000", "walk", "press x",
                "press 70000", "burst -1", "set nothing 1", "set PlayerVolume u8:256", "", "counts", "quit"]
    code, out, err = run(build, "zent-hostsim", "--json", "--commands", text="\n".join(commands) + "\n")
    expect("exit code", (code, err), (0, ""))
    events = [json.loads(line) for line in out.splitlines()]
    for event in events:
        print(event)
    expect("events", [event["event"] for event in events],
           ["ready", "help", "state", "state", "state", "state", "state"] + 6 * ["error"] + ["counts", "counts"])
    expect("commands", [each["command"] for each in events[1]["commands"]],
           ["press N", "set ID VALUE", "get ID", "burst N", "send-file PATH", "abort-file", "counts", "quit"])
    expect("volume", events[2], {"event": "state", "id": 9, "name": "PlayerVolume", "encoding": "Uint8", "value": 30})
    expect("no value", events[3], {"event": "state", "id": 9999, "name": None, "encoding": "Nil", "value": None})
    expect("text", events[4]["value"], 'a "b" \\ \t \u00fc')
    expect("numbers", [events[5]["value"], events[6]["value"]], [18446744073709551615, -3])
    expect("error", events[7]["text"], "unknown command 'walk'; 'help' lists them")
    expect("counts", events[-1]["messagesSent"], 0)


def JsonHoldsAnyBytes(build):
    code, out, _ = run(build, "zent-hostsim", "--json", "--commands", "--state", b"MetaTitle=text:\xff\xc3\xa4\xed\xa0\x80",
                       text="get MetaTitle\nquit\n")
    expect("exit code", code, 0)
    expect("text", json.loads(out.splitlines()[1])["value"], "\ufffd\u00e4\ufffd\ufffd\ufffd")


def TextIsForPeople(build):
    code, out, _ = run(build, "zent-hostsim", "--commands", text="help\nget PlayerVolume\nget 9999\nwalk\nquit\n")
    expect("exit code", code, 0)
    expect("lines", out.splitlines()[1:13],
           ["press N         press and release button N",
            "set ID VALUE    change a state, for example: set PlayerVolume 40",
            "get ID          show a state",
            "burst N         send N events at once",
            "send-file PATH  send a file to the module, behind those that wait",
            "abort-file      end the file under way, and forget those that wait",
            "counts          show what has been seen and done so far",
            "quit            end",
            "30", "no value", "unknown command 'walk'; 'help' lists them", "What the host saw and did:"])


def AbsurdNumbersAreRefused(build):
    day, many = 86400000, 1000000000
    whole = {"--late": (0, day), "--response-timeout": (1, day), "--input-event-every": (1, day),
             "--exit-after-idle": (1, day), "--nack-first": (0, many), "--ack-nack-every": (0, many),
             "--neither-every": (0, many), "--silent-every": (0, many), "--late-every": (0, many),
             "--repeat-every": (0, many), "--burst": (0, 10000), "--garbage-every": (0, many),
             "--damage-chunk-every": (0, many), "--lose-chunk-every": (0, many), "--garbage-bytes": (0, 65535),
             "--fault-count": (0, many), "--seed": (0, 2**64 - 1),
             "--baud": (50, 20000000), "--max-packet-size": (11, 65535), "--packet-timeout": (1, 65000),
             "--retry-delay": (0, 65000)}
    for option, (lowest, highest) in whole.items():
        refused = ["-1", str(lowest - 1), str(highest + 1), "1.5", "x", str(2**64 + lowest)]
        for value in dict.fromkeys(refused):  # of several that are the same one
            code, out, err = run(build, "zent-hostsim", option + "=" + value)
            expect(option, (code, out), (2, ""))
            expect(option, err.splitlines()[0],
                   "%s: '%s' is not a whole number from %d to %d" % (option, value, lowest, highest))
    for end in [0, 1]:  # of each range: all of them in one start, as what is refused is named
        taken = [word for option, ends in whole.items() for word in (option, str(ends[end]))]
        code, _, err = run(build, "zent-hostsim", *taken, "--commands", text="quit\n")
        expect("the ends of all ranges", (code, err), (0, ""))
    for option in ["--drop-rate", "--corrupt-rate", "--insert-rate", "--repeat-rate"]:
        for value in ["-0.1", "1.1", "nan", "x"]:
            code, _, err = run(build, "zent-hostsim", option + "=" + value)
            expect(option, code, 2)
            expect(option, err.splitlines()[0], "%s: '%s' is not a number from 0 to 1" % (option, value))


def serial_port():
    """Both ends of a terminal, and the path of the far one."""
    master, slave = os.openpty()
    tty.setraw(slave)
    return master, slave, os.ttyname(slave)


def DeviceIsLocked(build):
    master, slave, path = serial_port()
    simulator = os.path.join(build, "bin", "zent-hostsim")
    with Program(simulator, "--device", path, "--commands") as first:
        first.wait_for("listening on " + path)
        in_use = "zent-hostsim: %s is in use by another program; end that one, or choose another device\n" % path
        expect("second simulator",
               run(build, "zent-hostsim", "--device", path, "--exit-after-idle", "100"), (1, "", in_use))
        code, _, err = run(build, "hostlink-demo", "--device", path)
        expect("link", code, 1)
        assert "is in use by another program" in err, err
        first.say("quit\n")
        expect("first simulator", first.end(), 0)
    fcntl.flock(slave, fcntl.LOCK_EX)
    expect("locked by somebody else", run(build, "zent-hostsim", "--device", path, "--exit-after-idle", "100"),
           (1, "", in_use))
    fcntl.flock(slave, fcntl.LOCK_UN)
    code, _, err = run(build, "zent-hostsim", "--device", path, "--commands", text="quit\n")
    expect("free again", (code, err), (0, ""))
    os.close(master)


def DeviceInExclusiveUseIsInUse(build):
    """The mark keeps everybody out but root: root becomes somebody who can reach the program."""
    other = {"user": 65534, "group": 65534, "extra_groups": []} if os.getuid() == 0 else {}
    # Where a build with counters may leave them: this user may not add to the others.
    counters = tempfile.TemporaryDirectory()
    os.chmod(counters.name, 0o777)
    other["env"] = {**os.environ, "GCOV_PREFIX": counters.name}
    try:
        run(build, "zent-hostsim", "--help", **other)
    except PermissionError:
        print("skipped: the program is where only root can reach it")
        return
    master, slave, path = serial_port()
    os.chmod(path, 0o666)
    fcntl.ioctl(slave, termios.TIOCEXCL)
    expect("marked", run(build, "zent-hostsim", "--device", path, "--exit-after-idle", "100", **other),
           (1, "", "zent-hostsim: %s is in use by another program; end that one, or choose another device\n" % path))
    os.close(master)


def set_volume_and_end(build, port):
    """The ten lines, until the host has told the volume."""
    with Program(os.path.join(build, "bin", "hostlink-ten-lines"), port) as program:
        program.wait_for("PlayerVolume is 40\n")
        program.say("\n")
        expect("exit code", program.end(), 0)


def ProgramsInQuickSuccessionAreHeard(build):
    """Each begins with the same packet, of frame 0."""
    with tempfile.TemporaryDirectory() as folder:
        port = os.path.join(folder, "host")
        with Program(os.path.join(build, "bin", "zent-hostsim"), "--link", port, "--json", "--commands") as host:
            host.wait_for("ready")
            for _ in range(3):
                set_volume_and_end(build, port)
            host.say("quit\n")
            expect("exit code", host.end(), 0)
            counts = json.loads(host.printed.splitlines()[-1])
            expect("repetitions", counts["duplicatePackets"], 0)


def TenLinesHelp(build):
    usage = ("usage: hostlink-ten-lines [DEVICE]\n"
             "Sets the volume on the host at this serial port (/dev/ttyS1) and prints what the host says of it, "
             "until Enter is pressed.\n")
    with tempfile.TemporaryDirectory() as folder:
        build = os.path.abspath(build)
        for name in ["--help", "--verbose"]:  # nothing may be opened although it is there
            os.mkfifo(os.path.join(folder, name))
        for option in ["--help", "-h"]:
            expect(option, run(build, "hostlink-ten-lines", option, folder=folder), (0, usage, ""))
        for words in [["--verbose"], ["-x"], ["-"], ["/dev/null", "/dev/null"]]:
            expect(words, run(build, "hostlink-ten-lines", *words, folder=folder), (2, "", usage))


def DemoHelp(build):
    code, out, err = run(build, "hostlink-demo", "--help")
    expect("help", (code, err), (0, ""))
    assert "--device" in out, out
    for words in [["--frob"], [], ["--device", "/dev/null", "more"]]:
        code, out, err = run(build, "hostlink-demo", *words)
        expect(words, (code, out), (2, ""))
        assert "--help" in err, err


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
