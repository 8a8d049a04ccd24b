"""bus_shell_test.py BUILD_DIRECTORY TEST: the shell of scripts/hostsim-bus.sh, as a person types into it."""
import fcntl
import json
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import termios
import time

PATIENCE = 300  # seconds until a test that hangs is given up; nothing here takes long by itself
SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "hostsim-bus.sh")
# A host that pulls its line again, because this machine took its time, has the library log that there was nothing to read;
# and one that gives a message up sends it no more.
UNHURRIED = "interruptRepeatMs=60000,responseTimeoutMs=60000"
PATIENT = "--response-timeout 20000"  # else the library logs that the host has not answered
NOBODY_PRESSES = "inputEventEveryMs=3600000," + UNHURRIED
CANNOT_RUN = 77


def expect(what, seen, wanted):
    assert seen == wanted, "%s: %r instead of %r" % (what, seen, wanted)


def run(build, options, *command):
    done = subprocess.run([SCRIPT, build, options, *command], capture_output=True, timeout=PATIENCE, check=False)
    if done.returncode == CANNOT_RUN:
        print(done.stderr.decode())
        sys.exit(CANNOT_RUN)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


class Shell:
    """The shell on a terminal of its own."""

    def __init__(self, build, *options):
        run(build, "", "true")  # whether the rig can run here
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.environ["TERM"] = "dumb"
            os.execv(SCRIPT, [SCRIPT, build, *options])
        # Wide: a terminal's line editor wraps what is typed.
        fcntl.ioctl(self.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 1000, 0, 0))
        self.seen = ""

    def wait_for(self, pattern):
        """Until that comes; what was before it is forgotten."""
        deadline = time.monotonic() + PATIENCE
        while True:
            found = re.search(pattern, self.seen)
            if found:
                before, self.seen = self.seen[:found.start()], self.seen[found.end():]
                return before
            left = deadline - time.monotonic()
            assert left > 0 and select.select([self.terminal], [], [], left)[0], self.seen
            more = os.read(self.terminal, 4096).decode().replace("\r", "")
            sys.stdout.write(more)
            self.seen += more

    def type(self, line):
        os.write(self.terminal, (line + "\n").encode())
        self.wait_for(re.escape(line) + "\n")  # the terminal's echo

    def ask(self, line):
        """What the command prints."""
        self.wait_for("hostsim-bus> ")
        self.type(line)
        printed = self.wait_for("(?=hostsim-bus> )")
        return printed

    def end(self):
        self.wait_for("hostsim-bus> ")
        self.type("exit 5")
        _, status = os.waitpid(self.process, 0)
        expect("exit code", os.WEXITSTATUS(status), 5)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if kind is not None:
            os.kill(self.process, signal.SIGKILL)
        os.close(self.terminal)


def CommandsSpeakToTheHost(build):
    with Shell(build, NOBODY_PRESSES) as shell:
        expect("volume", shell.ask("get PlayerVolume"), "30\n")
        expect("set", shell.ask("set PlayerVolume 41"), "")
        expect("volume", shell.ask("get PlayerVolume"), "41\n")
        expect("set text", shell.ask("set MetaTitle text:Blue in Green"), "")
        expect("text", shell.ask("get MetaTitle"), "Blue in Green\n")
        expect("press", shell.ask("press 3"), "")
        expect("burst", shell.ask("burst 2"), "")
        counts = json.loads(shell.ask("counts"))
        expect("counts", (counts["messagesReceived"], counts["messagesSent"]), (0, 0))
        expect("wrong button", shell.ask("press x"), "bus rig: press x: error not a number: x\n")
        expect("wrong state", shell.ask("get Nothing"),
               "bus rig: get Nothing: error neither a number nor the name of a state: Nothing\n")
        expect("options of the shell", shell.ask("set -o noclobber; set -o | grep noclobber | tr -d '\\t '"),
               "noclobberon\n")
        expect("help", shell.ask("hostsim help | head -n 1"), "press N        press and release button N\n")
        shell.end()


def ButtonIsPressedByHand(build):
    with Shell(build, NOBODY_PRESSES) as shell:
        shell.ask("$ZENT_HOSTSIM_BUILD/bin/hostlink-demo --link spi --device /dev/spidev0.0 --gpio 17 --file-size 900 "
                  + PATIENT + " &")
        shell.wait_for("Waiting for somebody to press a button")
        shell.type("press 5")
        shell.wait_for("BUT_KeyPressed: button 5\n")
        shell.wait_for("All went well.\n")
        shell.type("")
        shell.end()


def WhatIsPrintedWorks(build):
    """Each demo that the shell names at its beginning runs to its end: somebody presses the button."""
    with Shell(build) as shell:
        greeting = shell.wait_for("(?=hostsim-bus> )")
        assert "Button 1 is pressed every two seconds" in greeting, greeting
        demos = re.findall("^ *(/.*/bin/hostlink-demo .*)$", greeting, re.MULTILINE)
        expect("demos", [re.findall("--link ([a-z0-9]*)", demo) for demo in demos], [["i2c"], ["spi"]])
        for demo in demos:
            printed = shell.ask(demo + " --file-size 900 " + PATIENT)
            assert printed.endswith("\nAll went well.\n"), printed
        shell.end()


def CommandsForScripts(build):
    code, out, err = run(build, "", "sh", "-c", "hostsim set PlayerVolume 12 && get PlayerVolume && @2 2>/dev/null; "
                                                "hostsim @2 get PlayerVolume; press; echo $?")
    expect("output", (code, out), (0, "12\n30\n1\n"))
    expect("error", err, "bus rig: press: error not a number: \n")


def OptionsReachTheHost(build):
    code, out, err = run(build, "nackFirst=1," + UNHURRIED, os.path.join(build, "bin", "hostlink-demo"), "--link", "i2c", "--device",
                         "/dev/i2c-1", "--gpio", "17", "--file-size", "900", *PATIENT.split())
    expect("exit code", (code, err), (0, ""))
    assert "All went well." in out, out
    code, _, err = run(build, "nackFirst=-1", "true")
    assert code != 0 and "not a number: -1" in err, (code, err)


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
