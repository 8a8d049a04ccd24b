"""program_test.py BUILD_DIRECTORY TEST: zent-hostcheck as people and their CI use it, over a real terminal."""
import json
import os
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import xml.etree.ElementTree

PATIENCE = 300  # seconds until a test that hangs is given up; nothing here takes long by itself
UNHURRIED = ["--response-timeout", "20000"]  # a busy machine is no slow host


def expect(what, seen, wanted):
    assert seen == wanted, "%s: %r instead of %r" % (what, seen, wanted)


class Simulator:
    """A host on a pseudo terminal, which gives nothing up while a busy machine takes its time."""

    def __init__(self, build, *options):
        self.process = subprocess.Popen([os.path.join(build, "bin", "zent-hostsim"), "--json", "--commands",
                                         "--response-timeout", "60000", *options],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.device = json.loads(self.line())["device"]

    def line(self):
        assert select.select([self.process.stdout], [], [], PATIENCE)[0], "the simulator says nothing"
        return self.process.stdout.readline().decode()

    def ask(self, command):
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        return json.loads(self.line())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()


def only(*names):
    return [word for name in names for word in ("--only", name)]


def check(build, *arguments):
    done = subprocess.run([os.path.join(build, "bin", "zent-hostcheck"), *arguments], capture_output=True,
                          timeout=PATIENCE, check=False)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def RightHostPasses(build):
    names = ["response-form", "own-form", "reset-idle", "get-in-order", "unknown-requests"]
    with Simulator(build) as host:
        code, out, err = check(build, "--device", host.device, "--json", *UNHURRIED, *only(*names))
    results = json.loads(out)
    expect("exit code", code, 0)
    expect("standard error", err, "")
    expect("checks", [one["name"] for one in results["checks"]], ["response-form", "reset-idle", "own-form",
                                                                  "get-in-order", "unknown-requests"])
    expect("outcomes", {one["outcome"] for one in results["checks"]}, {"pass"})
    expect("counts", (results["passed"], results["failed"], results["skipped"]), (5, 0, 0))


def WrongHostFailsWithBytesAndRule(build):
    with Simulator(build, "--garbage-every", "1") as host, tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "results.xml")
        code, out, _ = check(build, "--device", host.device, "--junit", file, *UNHURRIED,
                             *only("own-form", "set-other"))
        suite = xml.etree.ElementTree.parse(file).getroot()
    expect("exit code", code, 1)
    assert "fail    own-form" in out, out
    assert "rule 39 (must)" in out and "FF FE" in out and "GetStateResponseMessage" in out, out
    assert "0 passed, 1 failed, 1 skipped" in out, out
    expect("failures", (suite.get("tests"), suite.get("failures"), suite.get("skipped")), ("2", "1", "1"))
    expect("cases", [(case.get("name"), case[0].tag) for case in suite],
           [("own-form", "failure"), ("set-other", "skipped")])


def UsageIsExitCode2(build):
    expect("no device", check(build)[0], 2)
    expect("unknown option", check(build, "--walk")[0], 2)
    code, _, err = check(build, "--device", "/nowhere/tty")
    expect("a device that is not there", code, 2)
    assert "/nowhere/tty" in err, err
    for clock in ("nowhere", "nowhere:", "nowhere:12x"):
        code, _, err = check(build, "--device", "/nowhere/tty", "--clock", clock)
        expect(clock, code, 2)
        assert "--clock is FILE:OFFSET" in err, err
    code, _, err = check(build, "--device", "/nowhere/tty", "--clock", "/nowhere/clock:0")
    expect("a clock that is not there", code, 2)
    assert "/nowhere/clock" in err, err
    code, _, err = check(build, "--device", "/nowhere/tty", "--clock", "/dev/null:0")
    expect("a clock that ends", code, 2)
    assert "the file ends before the clock" in err, err
    code, _, err = check(build, "--link", "spi", "--device", "/nowhere/spi", "--gpio-line", "HOST_IRQ")
    expect("a line of no chip", code, 2)
    assert "--gpio-chip" in err, err
    code, _, err = check(build, "--device", "/nowhere/tty", "--only", "walking")
    expect("a check that is not there", code, 2)
    assert "no check and no group is named 'walking'" in err, err


def SocketThatIsLostIsExitCode2(build):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "line")
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(path)
            code, _, err = check(build, "--device", path)
            expect("nobody listens", code, 2)
            assert "cannot connect to " + path in err, err
            listener.listen(1)
            closing = threading.Thread(target=lambda: listener.accept()[0].close())
            closing.start()
            code, out, err = check(build, "--device", path)
            closing.join()
        expect("the other end goes", code, 2)
        assert "socket" in err and "0 passed, 0 failed, 0 skipped" in out, (err, out)


def ListTellsEachCheck(build):
    code, out, _ = check(build, "--list")
    expect("exit code", code, 0)
    for text in ("answers\n", "  response-form\n", "  set-other  [destructive]\n", "  bus-announce  [bus]\n",
                 "      expects: ", "      why:     rule 1, must: "):
        assert text in out, text
    expect("one group", check(build, "--list", "--only", "load")[1].count("does:"), 2)
    musts = check(build, "--list", "--must")[1]
    assert "response-median" in out and "response-median" not in musts and "response-time" in musts, musts


def InterruptLeavesTheHostInOrder(build):
    with Simulator(build) as host:
        process = subprocess.Popen([os.path.join(build, "bin", "zent-hostcheck"), "--device", host.device, "--load-time",
                                    "3600", *UNHURRIED, *only("response-form", "both-directions")],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            assert select.select([process.stdout], [], [], PATIENCE)[0], "no first result"
            assert b"response-form" in process.stdout.readline()
            before = host.ask("counts")["messagesReceived"]
            deadline = time.monotonic() + PATIENCE
            while host.ask("counts")["messagesReceived"] < before + 10:  # the load runs
                assert time.monotonic() < deadline
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=PATIENCE)
        finally:
            process.kill()
            process.wait()
        expect("exit code", process.returncode, 130)
        assert "leaving the host in order" in err.decode(), err
        assert "1 passed, 0 failed, 0 skipped" in out.decode(), out
        code, _, _ = check(build, "--device", host.device, *UNHURRIED, *only("response-form"))
        expect("a check afterwards", code, 0)


def RepeatMakesAllChecksSoManyTimes(build):
    with Simulator(build) as host:
        code, out, _ = check(build, "--device", host.device, "--json", "--repeat", "3", *UNHURRIED,
                             *only("get-in-order", "reset-idle"))
    results = json.loads(out)
    expect("exit code", code, 0)
    expect("checks", [one["name"] for one in results["checks"]], ["reset-idle", "get-in-order"] * 3)


def ProgressIsShownAtATerminal(build):
    near, far = os.openpty()
    try:
        with Simulator(build) as host:
            words = [os.path.join(build, "bin", "zent-hostcheck"), "--device", host.device, *UNHURRIED,
                     *only("get-in-order", "reset-idle")]
            done = subprocess.run(words, stdout=subprocess.PIPE, stderr=far, timeout=PATIENCE, check=False)
        expect("exit code", done.returncode, 0)
        shown = ""  # what was written to a terminal comes out of it when the system finds the time
        while "[2/2] get-in-order" not in shown:
            assert select.select([near], [], [], PATIENCE)[0], shown
            shown += os.read(near, 4096).decode()
        assert "[1/2] reset-idle" in shown, shown
        assert "[1/2]" not in done.stdout.decode(), done.stdout
    finally:
        os.close(near)
        os.close(far)


def GoesByTheClockThatItIsGiven(build):
    """One that is three times as slow as this machine's, or slower: so is the check, by this machine's."""
    with Simulator(build) as host, tempfile.NamedTemporaryFile() as file:
        file.write(bytes(12))
        file.flush()
        over = threading.Event()

        def tick():
            milliseconds = 0
            while not over.wait(0.003):
                milliseconds += 1
                os.pwrite(file.fileno(), milliseconds.to_bytes(4, "little"), 8)

        ticking = threading.Thread(target=tick)
        ticking.start()
        began = time.monotonic()
        try:
            code, out, err = check(build, "--device", host.device, "--clock", file.name + ":8", "--json", *UNHURRIED,
                                   *only("response-form"))
        finally:
            over.set()
            ticking.join()
        took = time.monotonic() - began
    expect("exit code", (code, err), (0, ""))
    by_its_clock = json.loads(out)["checks"][0]["seconds"]
    assert 0.3 <= by_its_clock <= took / 2, (by_its_clock, took)  # nothing more must come for 0.3 s


class PlainHost:
    """Acknowledges each packet, and says that the volume is 30; without the checker's own code."""

    def __init__(self, read, write):
        self.read, self.write = read, write
        self.come, self.own, self.questions = b"", 0, 0

    def serve(self, answer_to):
        """Until nobody is there; `answer_to` says with which flags the question of that number is answered."""
        while more := self.read():
            self.come += more
            while len(self.come) >= 8 and len(self.come) >= self.come[2]:
                whole, self.come = self.come[:self.come[2]], self.come[self.come[2]:]
                if whole[4] & 0xC0 == 0:
                    self.take(whole, answer_to)

    def take(self, whole, answer_to):
        is_question = len(whole) > 8
        self.questions += is_question
        flags = answer_to(self.questions) if is_question else ACK
        self.write(bytes((0xFF, 0xFE, 8, 0, flags, whole[5], 0, 0)))
        if is_question and flags == ACK:
            self.write(bytes((0xFF, 0xFE, 17, 0, 0x23, self.own, 0, 0, 2, 0x80, 1, 9, 0, 0xCC, 30, 0, 0)))
            self.own = (self.own + 1) % 256


ACK, NACK = 0xA3, 0x63


def CheckInWhichTheCheckerWasStoppedIsMadeAgain(build):
    """What the host says meanwhile is there when it runs again, so that its wait does not end for the time."""
    with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
        path = os.path.join(folder, "line")
        listener.bind(path)
        listener.listen(1)
        listener.settimeout(PATIENCE)
        words = [os.path.join(build, "bin", "zent-hostcheck"), "--device", path, "--json", *only("response-form")]
        with subprocess.Popen(words, stdout=subprocess.PIPE) as checker:
            ending = threading.Timer(PATIENCE, checker.kill)
            ending.start()

            def answer_to(question):
                if question != 2:  # the first one is asked before the check begins
                    return ACK
                checker.send_signal(signal.SIGSTOP)
                os.waitpid(checker.pid, os.WUNTRACED)
                threading.Timer(0.3, checker.send_signal, [signal.SIGCONT]).start()
                return NACK

            line = listener.accept()[0]
            with line:
                PlainHost(lambda: line.recv(4096), line.sendall).serve(answer_to)
            results = json.loads(checker.stdout.read())["checks"]
            ending.cancel()
    expect("outcome", (results[0]["outcome"], results[0]["text"]), ("pass", ""))
    assert any("made 2 times, as the checker was held up" in note for note in results[0]["notes"]), results


def StatesArePutBack(build):
    with Simulator(build, "--state", "PlayerVolume=41") as host:
        code, out, _ = check(build, "--device", host.device, "--destructive", *UNHURRIED,
                             *only("set-other", "set-other-encoding", "set-twice"))
        assert code == 0 and "3 passed" in out, out
        state = host.ask("get PlayerVolume")
        expect("the state", (state["encoding"], state["value"]), ("Uint8", 41))


def RulesOfThePageAreThoseOfTheProgram(build):
    code, out, _ = check(build, "--rules")
    expect("exit code", code, 0)
    page = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "host-rules.md")
    with open(page, encoding="utf-8") as file:
        assert out in file.read(), "docs/host-rules.md differs from zent-hostcheck --rules"


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
