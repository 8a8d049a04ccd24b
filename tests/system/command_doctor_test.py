"""command_doctor_test.py BUILD_DIRECTORY TEST: hostlink doctor, against pseudo terminals and a /sys that is made up."""
import fcntl
import json
import os
import subprocess
import sys
import tempfile
import termios

from command_test import BAD_USAGE, GOOD, NO_LINK
from programs_test import PATIENCE, Program, expect, run, serial_port

NOBODY = 65534
CANNOT_RUN = 77


class Machine:
    """Folders that a program sees in the place of /sys, /dev and the like, in a mount namespace of its own."""

    def __init__(self, build):
        self.program = os.path.join(os.path.abspath(build), "bin", "hostlink")
        self.folder = tempfile.TemporaryDirectory()
        os.chmod(self.folder.name, 0o755)
        os.umask(0o022)  # others may read what stands in the place of the system's
        self.mounts = []
        self.has("sys")

    def has(self, top):
        """From now on, what is below it is seen at the same place of the root."""
        os.makedirs(self.path(top))
        self.mounts.append(top)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def link(self, name, target):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        os.symlink(target, self.path(name))

    def run(self, *words, user=None):
        script = "".join("mount --bind %s /%s || exit %d\n" % (self.path(top), top, CANNOT_RUN) for top in self.mounts)
        change = "" if user is None else "setpriv --reuid %d --regid %d --clear-groups " % (user, user)
        root = [] if os.getuid() == 0 else ["--map-root-user"]
        done = subprocess.run(["unshare", *root, "--mount", "sh", "-c", script + "exec " + change + '"$@"', "sh",
                               self.program, *words], capture_output=True, timeout=PATIENCE, check=False)
        if done.returncode == CANNOT_RUN or "unshare failed" in done.stderr.decode():
            print("skipped: no namespaces here: " + done.stderr.decode())
            sys.exit(CANNOT_RUN)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def findings(self, *words, user=None):
        """The exit code, and the findings by their names."""
        code, out, err = self.run("--json", "doctor", *words, user=user)
        lines = [json.loads(line) for line in out.splitlines()]
        assert lines, err
        counts = {verdict: sum(1 for each in lines[:-1] if each["verdict"] == verdict) for verdict in ["ok", "warn", "fail"]}
        expect("counts", lines[-1], counts)
        expect("code", code, NO_LINK if counts["fail"] else GOOD)
        return code, {each["finding"]: each for each in lines[:-1]}

    def everything(self):
        """All that is in the folders, with the times of the last change."""
        found = []
        for folder, _, files in os.walk(self.folder.name):
            found += [(folder, os.lstat(folder).st_mtime_ns)]
            found += [(os.path.join(folder, each), os.lstat(os.path.join(folder, each)).st_mtime_ns) for each in files]
        return sorted(found)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()


class Port:
    """A pseudo terminal, and where its folder in /sys is."""

    def __init__(self):
        self.master, self.slave, self.path = serial_port()
        number = os.stat(self.path).st_rdev
        self.folder = "sys/dev/char/%d:%d/" % (os.major(number), os.minor(number))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.master)
        os.close(self.slave)


def is_so(finding, verdict, text, remedy=""):
    expect("verdict", finding["verdict"], verdict)
    assert text in finding["text"] and remedy in finding.get("remedy", ""), finding


def PortIsLookedAt(build):
    with Machine(build) as machine, Port() as port:
        machine.link(port.folder + "device/driver", "../../../../bus/platform/drivers/serial8250")
        machine.write(port.folder + "type", "4\n")
        machine.write(port.folder + "uartclk", "1843200\n")
        machine.write(port.folder + "console", "N\n")
        before = machine.everything(), termios.tcgetattr(port.slave)
        code, found = machine.findings("--uart", port.path)
        expect("all is well", (code, {each["verdict"] for each in found.values()}), (GOOD, {"ok"}))
        expect("driver", found["driver"]["text"], "serial8250")
        expect("speed", found["speed"]["text"], "115200 baud are 115200 on the wire, 0.0 % off (clock 1843200 Hz)")
        expect("exclusive", found["exclusive"]["text"], "nobody has it for exclusive use")
        # 1843200 / 16 / 100000 is 1.152, and a divisor is a whole number: 1.
        _, found = machine.findings("--uart", port.path, "--baud", "100000")
        expect("speed", (found["speed"]["verdict"], found["speed"]["text"]),
               ("fail", "100000 baud are 115200 on the wire, 15.2 % off (clock 1843200 Hz)"))
        # What it says mends it does.
        remedy = found["speed"]["remedy"].split("#")[0].split()
        expect("remedy", remedy, ["hostlink", "doctor", "--baud", "115200"])
        code, _ = machine.findings("--uart", port.path, *remedy[2:])
        expect("mended", code, GOOD)
        expect("nothing has changed", (machine.everything(), termios.tcgetattr(port.slave)), before)


def PortThatIsUsedByTheKernel(build):
    with Machine(build) as machine, Port() as port:
        machine.write(port.folder + "console", "Y\n")
        machine.write(port.folder + "device/latency_timer", "16\n")
        code, found = machine.findings("--uart", port.path)
        expect("code", code, GOOD)
        is_so(found["console"], "warn", "console of the kernel", "sudo systemctl disable --now serial-getty@")
        is_so(found["latency"], "warn", "16 ms", "echo 1 | sudo tee /" + port.folder + "device/latency_timer")
        machine.write(port.folder + "device/latency_timer", "1\n")
        is_so(machine.findings("--uart", port.path)[1]["latency"], "ok", "1 ms")
        machine.write(port.folder + "type", "0\n")
        code, found = machine.findings("--uart", port.path)
        is_so(found["port"], "fail", "no port behind it")
        expect("not opened", "exclusive" in found, False)


def PortInExclusiveUse(build):
    with Machine(build) as machine, Port() as port:
        fcntl.ioctl(port.slave, termios.TIOCEXCL)
        code, found = machine.findings("--uart", port.path)
        expect("code", code, NO_LINK)
        name = "python3 (%d)" % os.getpid()
        expect("exclusive", found["exclusive"]["verdict"], "fail")
        if os.getuid() == 0:  # whom the mark does not keep out
            is_so(found["exclusive"], "fail", "in exclusive use by python3", "sudo kill")
            assert name in found["users"]["text"], found["users"]
        fcntl.ioctl(port.slave, termios.TIOCNXCL)
        expect("free again", machine.findings("--uart", port.path)[0], GOOD)


HOLD_TERMINAL = """
import fcntl, os, struct, sys
UNLOCK, NUMBER = 0x40045431, 0x80045430  # TIOCSPTLCK, TIOCGPTN
held = []
while True:  # they are numbered from 0 on
    held.append(os.open("/dev/pts/ptmx", os.O_RDWR | os.O_NOCTTY))
    fcntl.ioctl(held[-1], UNLOCK, struct.pack("i", 0))
    number = struct.unpack("i", fcntl.ioctl(held[-1], NUMBER, bytes(4)))[0]
    if number == int(sys.argv[1]):
        break
held.append(os.open("/dev/pts/%d" % number, os.O_RDWR | os.O_NOCTTY))
print("held", flush=True)
sys.stdin.read()
"""


def TerminalOfTheSameNumberElsewhereIsAnother(build):
    """A container has a folder of terminals of its own."""
    with Machine(build) as machine, Port() as port:
        root = [] if os.getuid() == 0 else ["--map-root-user"]
        with Program("unshare", *root, "--mount", "sh", "-c", "mount -t devpts -o newinstance,ptmxmode=0666 none /dev/pts && "
                     'exec python3 -B -c "$@"', "sh", HOLD_TERMINAL, os.path.basename(port.path)) as container:
            if not container.process.stdout.readline():
                print("skipped: no namespaces here: " + container.process.stderr.read().decode())
                sys.exit(CANNOT_RUN)
            fcntl.ioctl(port.slave, termios.TIOCEXCL)
            _, found = machine.findings("--uart", port.path)
            if os.getuid() == 0:  # nobody else looks out of the namespace that the command runs in
                assert "(%d)" % os.getpid() in found["users"]["text"], found["users"]
            for each in found.values():
                assert "(%d)" % container.process.pid not in each["text"], each
            expect("its end", container.end(), 0)


def WhatIsNoPort(build):
    with Machine(build) as machine:
        for words, finding, text, remedy in [
                (["--uart", "/dev/ttyUSB99"], "device", "is not there", "sudo dmesg"),
                (["--i2c", "/dev/i2c-99", "--address", "1"], "device", "is not there", "sudo modprobe i2c-dev"),
                (["--spi", "/dev/spidev99.0"], "device", "is not there", "sudo modprobe spidev"),
                (["--uart", "/dev/null"], "kind", "no serial port", "hostlink doctor"),
                (["--i2c", "/dev/null", "--address", "0x42"], "kind", "no I2C bus", "i2cdetect -l"),
                (["--spi", "/dev/null"], "kind", "no SPI device", "ls -l /dev/spidev")]:
            code, found = machine.findings(*words)
            expect(words, code, NO_LINK)
            is_so(found[finding], "fail", text, remedy)
    code, out, err = run(build, "hostlink", "doctor", "--profile", "none", "--config", "/dev/null")
    expect("no such profile", (code, out), (BAD_USAGE, ""))
    assert "there is no profile 'none'" in err, err


def WhoMayOpenIt(build):
    if os.getuid() != 0:
        print("skipped: only root becomes somebody else")
        return
    with Machine(build) as machine, Port() as port:
        with open("/etc/group", encoding="utf-8") as file:
            groups = [line for line in file if not line.startswith("dialout:")]
        if machine.run("--help", user=NOBODY)[0] != GOOD:
            print("skipped: the program is where only root can reach it")
            return
        os.chown(port.path, 0, 20)
        os.chmod(port.path, 0o660)
        machine.write("etc/group", "".join(groups) + "dialout:x:20:\n")
        machine.mounts.append("etc/group")
        _, found = machine.findings("--uart", port.path, user=NOBODY)
        expect("access", (found["access"]["verdict"], found["access"]["text"]),
               ("fail", "root:dialout 0660, you (nobody) may not read and write it"))
        assert found["access"]["remedy"].startswith("sudo usermod -aG dialout nobody "), found["access"]
        machine.write("etc/group", "".join(groups) + "dialout:x:20:nobody\n")  # since this session began
        _, found = machine.findings("--uart", port.path, user=NOBODY)
        assert found["access"]["remedy"].startswith("newgrp dialout "), found["access"]
        os.chmod(port.path, 0o600)
        _, found = machine.findings("--uart", port.path, user=NOBODY)
        assert "sudo chgrp dialout %s; sudo chmod 660 %s;" % (port.path, port.path) in found["access"]["remedy"], found
        os.chmod(port.path, 0o666)
        expect("allowed", machine.findings("--uart", port.path, user=NOBODY)[0], GOOD)


def gpio(machine, label, base, lines, chip):
    folder = "sys/class/gpio/gpiochip%d/" % base
    machine.write(folder + "label", label + "\n")
    machine.write(folder + "base", "%d\n" % base)
    machine.write(folder + "ngpio", "%d\n" % lines)
    os.makedirs(machine.path(folder + "device/" + chip))


def LineThroughSysfs(build):
    with Machine(build) as machine:
        gpio(machine, "pinctrl-soc", 512, 54, "gpiochip0")
        gpio(machine, "expander", 600, 8, "gpiochip1")
        machine.write("sys/class/gpio/export", "")
        machine.write("sys/bus/gpio/devices/gpiochip0/of_node/interrupt-controller", "")
        machine.write("sys/bus/gpio/devices/gpiochip1/of_node/name", "")
        before = machine.everything()
        code, found = machine.findings("--gpio", "17")
        expect("controller", (code, found["controller"]["text"]),
               (NO_LINK, "no controller has this number: pinctrl-soc has 512 to 565, expander has 600 to 607"))
        code, found = machine.findings("--gpio", "529")
        expect("controller", (code, found["controller"]["text"]), (GOOD, "line 17 of pinctrl-soc, whose base is 512"))
        is_so(found["interrupt"], "ok", "names the controller as one of interrupts")
        is_so(found["export"], "ok", "you may")
        _, found = machine.findings("--gpio", "601")
        is_so(found["interrupt"], "warn", "does not name", "echo 601 | sudo tee /sys/class/gpio/export")
        expect("nothing has changed", machine.everything(), before)
        for name, text in [("direction", "in\n"), ("value", "1\n")]:
            machine.write("sys/class/gpio/gpio529/" + name, text)
        _, found = machine.findings("--gpio", "529")
        is_so(found["interrupt"], "fail", "no interrupts")
        machine.write("sys/class/gpio/gpio529/edge", "none\n")
        code, found = machine.findings("--gpio", "529")
        expect("code", code, GOOD)
        is_so(found["interrupt"], "ok", "edge: none")
        expect("level", found["level"]["text"], "high: the host has nothing to say")
        machine.write("sys/class/gpio/gpio529/value", "0\n")
        expect("level", machine.findings("--gpio", "529")[1]["level"]["text"], "low: the host has a packet")
    with Machine(build) as machine:
        _, found = machine.findings("--gpio", "17")
        is_so(found["sysfs"], "fail", "no /sys/class/gpio", "hostlink doctor --gpio-chip")


def WithoutADeviceItListsWhatThereIs(build):
    with Machine(build) as machine:
        machine.has("dev")
        for name in ["ttyS0", "ttyS1", "ttyUSB0", "i2c-1"]:
            machine.write("dev/" + name, "")
        machine.link("sys/class/tty/ttyS0/device/driver", "/drivers/serial8250")
        machine.write("sys/class/tty/ttyS0/type", "4\n")
        machine.write("sys/class/tty/ttyS0/console", "Y\n")
        machine.link("sys/class/tty/ttyS1/device/driver", "/drivers/serial8250")
        machine.write("sys/class/tty/ttyS1/type", "0\n")
        machine.write("sys/class/tty/ttyUSB0/device/port_number", "0\n")
        machine.write("sys/class/tty/tty0/dev", "4:0\n")
        machine.write("sys/class/i2c-dev/i2c-1/name", "bcm2835 (i2c@7e804000)\n")
        machine.write("sys/class/spidev/spidev0.0/dev", "153:0\n")
        gpio(machine, "pinctrl-soc", 512, 54, "gpiochip0")
        code, out, err = machine.run("--json", "doctor")
        lines = [json.loads(line) for line in out.splitlines()]
        expect("seen", (code, err, [(each["finding"], each["about"], each["verdict"]) for each in lines[:-1]]), (GOOD, "", [
            ("serial", "/dev/ttyS0", "ok"), ("serial", "/dev/ttyUSB0", "ok"), ("i2c", "/dev/i2c-1", "ok"),
            ("spi", "/dev/spidev0.0", "warn"), ("gpio", "/dev", "ok"), ("base", "/sys/class/gpio/gpiochip512", "ok")]))
        assert "a console of the kernel" in lines[0]["text"], lines[0]
        assert "bcm2835 (i2c@7e804000)" in lines[2]["text"], lines[2]
        expect("no file", lines[3]["text"], "the kernel has it, and there is no device file")
        expect("base", lines[5]["text"], "pinctrl-soc has 512 to 565")
        code, out, _ = machine.run("doctor")
        expect("text", out.splitlines()[-1], "5 ok, 1 to look at, 0 that keep a link from working")
        assert "\n      do: sudo udevadm trigger\n" in out, out


if __name__ == "__main__":
    globals()[sys.argv[2]](sys.argv[1])
    print("ok: " + sys.argv[2])
