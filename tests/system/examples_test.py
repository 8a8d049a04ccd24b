"""examples_test.py BUILD_DIRECTORY TEST: the programs in examples, each against zent-hostsim; what they print is compared
with lines written by hand. hostlink-send-file and hostlink-tunnel are run by exchange_test.py, those for buses by
bus_examples_test.py."""
import json
import os
import re
import subprocess
import sys

from exchange_test import Place
from programs_test import PATIENCE, expect, kill_simulator


def run(place, name, *words):
    """Exit code, standard output and standard error of an example that ends by itself."""
    done = subprocess.run([os.path.join(place.build, "bin", name), place.line, *words], capture_output=True,
                          stdin=subprocess.DEVNULL, timeout=PATIENCE, check=False)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def say(host, command):
    host.say(command + "\n")


def end_with_enter(program):
    program.say("\n")
    expect("exit code", program.end(), 0)


def Get(build):
    with Place(build, "--state", "MetaTitle=text:Blue in Green") as place, place.simulator():
        expect("states", run(place, "hostlink-get", "PlayerVolume", "STA_PlayerPlayStatus", "MetaTitle", "0xEEEE"),
               (0, "PlayerVolume is 30\nPlayerPlayStatus is Stopped\nMetaTitle is Blue in Green\n0xEEEE is no value\n", ""))
        expect("none of that name", run(place, "hostlink-get", "Volme"),
               (1, "", "get a state that is none: there is no state named 'Volme'; docs/vocabulary.md lists the names\n"))


def Set(build):
    with Place(build) as place, place.simulator() as host:
        expect("number", run(place, "hostlink-set", "PlayerVolume", "44"), (0, "PlayerVolume is 44\n", ""))
        expect("name", run(place, "hostlink-set", "PlayerPlayStatus", "Playing"), (0, "PlayerPlayStatus is Playing\n", ""))
        for state, value in (("PlayerVolume", "44"), ("PlayerPlayStatus", "2")):
            say(host, "get " + state)
            host.wait_for("\n%s\n" % value)
        code, out, err = run(place, "hostlink-set", "PlayerPlayStatus", "Dancing")
        expect("no such value", (code, out), (2, ""))
        assert "Dancing" in err, err


def Watch(build):
    with Place(build) as place, place.simulator() as host:
        with place.start("hostlink-watch", place.line, "PlayerVolume", "PlayerPlayStatus") as watch:
            watch.wait_for("PlayerVolume is 30\n")
            watch.wait_for("PlayerPlayStatus is Stopped\n")
            say(host, "set PlayerVolume 41")
            watch.wait_for("PlayerVolume is 41, says the host\n")
            say(host, "set PlayerPlayStatus Paused")
            watch.wait_for("PlayerPlayStatus is Paused, says the host\n")
            end_with_enter(watch)
            expect("lines", len(watch.printed.splitlines()), 4)


def Events(build):
    with Place(build) as place, place.simulator() as host:
        with place.start("hostlink-events", place.line) as events:
            events.wait_for("waiting for keys\n")
            say(host, "press 3")
            events.wait_for("key 3 released\n")
            end_with_enter(events)
            expect("output", events.printed, "waiting for keys\nkey 3 pressed\nkey 3 released\n")


def Reconnect(build):
    """The host is killed and comes back with another volume; what is asked meanwhile waits for it."""
    with Place(build) as place, place.start("hostlink-reconnect", place.line) as program:
        program.wait_for("not up: cannot open %s: No such file or directory\n" % place.line)  # nor has it ever been there
        with place.simulator() as host:
            program.wait_for("up: the host answers\n")
            program.wait_for("the volume is 30\n")
            say(program, "41")
            program.wait_for("the volume is 41\n")
            kill_simulator(host, place.line)
            program.wait_for("not up: %s is gone\n" % place.line)
            say(program, "42")
        with place.simulator() as host:
            program.wait_for("the volume is 42\n")
            say(host, "get PlayerVolume")
            host.wait_for("\n42\n")
            expect("exit code", program.end(), 0)


def TenLinesOutliveAHostThatIsKilled(build):
    """The program of the README: a host that was killed comes back, and its changes are told again. What the program asked
    of the one that was killed is none of its end."""
    with Place(build) as place:
        with place.simulator() as host:
            program = place.start("hostlink-ten-lines", place.line)
            program.wait_for("PlayerVolume is 40\n")
            kill_simulator(host, place.line)
        with program, place.simulator() as host:
            program.wait_for("PlayerVolume is 30\n")  # what a host holds that has just come up: read again
            say(host, "set PlayerVolume 20")
            program.wait_for("PlayerVolume is 20\n")  # and subscribed again
            end_with_enter(program)


def Statistics(build):
    with Place(build) as place, place.start("zent-hostsim", "--link", place.line, "--commands", "--json") as host:
        host.wait_for("ready")

        def heard():
            """The messages that the host has received so far."""
            host.printed = ""
            say(host, "counts")
            host.wait_for("}\n")
            return json.loads(host.printed)["messagesReceived"]

        code, out, err = run(place, "hostlink-statistics")
        expect("exit code", (code, err), (0, ""))
        assert re.match(r"100 of 100 answered, 90 of 100 answers within \d+ us\n", out), out
        told = {what: int(number) for number, what in re.findall(r"^ *(\d+) +(.*)$", out, re.MULTILINE)}
        expect("line", (told["links opened"], told["links lost"], told["requests without an answer"]), (1, 0, 0))
        first = heard()
        expect("out", told["messages accepted by the host's link"] + told["messages not accepted by the host's link"], first)
        # The first question of the client itself, and the hundred; what takes its time is asked again.
        again = told["requests sent again"]
        assert 101 <= first <= 101 + again and 101 <= told["messages received"] <= first, out
        code, out, _ = run(place, "hostlink-statistics", "--json")
        expect("exit code", code, 0)
        counts = json.loads(out)
        expect("counts", (counts["messagesOut"] + counts["failedMessages"], counts["links"], counts["reconnects"]),
               (heard() - first, 1, 0))


def WithoutClient(build):
    with Place(build, "--state", "PlayerVolume=17") as place, place.simulator():
        expect("volume", run(place, "hostlink-without-client"), (0, "PlayerVolume is 17\n", ""))


def EventLoop(build):
    with Place(build) as place, place.simulator() as host:
        with place.start("hostlink-event-loop", place.line) as loop:
            loop.wait_for("the host answers\n")
            loop.wait_for("1: the volume is 30\n")
            say(loop, "55")
            loop.wait_for("2: the volume is 55\n")
            say(host, "set PlayerVolume 56")
            loop.wait_for("3: the volume is 56\n")
            expect("exit code", loop.end(), 0)


def UsageIsSaid(build):
    for name in ("event-loop", "events", "get", "i2c", "reconnect", "send-file", "set", "spi", "statistics", "tunnel",
                 "watch"):
        program = os.path.join(build, "bin", "hostlink-" + name)
        if not os.path.exists(program):
            continue  # those for buses stand elsewhere where programs are emulated
        done = subprocess.run([program], capture_output=True, timeout=PATIENCE, check=False)
        expect(name, (done.returncode, done.stdout), (2, b""))
        assert done.stderr.decode().startswith("usage: hostlink-%s " % name), done.stderr


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
