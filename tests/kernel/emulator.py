"""The emulated machine: what it has, how it is started, asked and ended."""

import ctypes
import os
import signal
import socket
import subprocess
import time

PR_SET_PDEATHSIG = 1

# Each port is a socket of that name, whose far side outside.py plays. `paths` is where the guest has them.
SERIAL_PORTS = ("first", "second", "card", "usb")

# Both processors of a guest by one thread, which changes from one to the other whenever one halts, waits for a lock, uses a
# device or is interrupted, and after a tenth of a second at the latest. A thread for each takes three times the time: they
# spin for one another's locks, the guest's and the emulator's.
PROCESSORS = ("-accel", "tcg,thread=single", "-smp", "2")

# A guest that waits for a busy machine is no fault of the kernel's.
KERNEL = "quiet panic=-1 nowatchdog rcupdate.rcu_cpu_stall_suppress=1"

MACHINES = {
    "amd64": {
        "program": "qemu-system-x86_64",
        "package": "qemu-system-x86",
        "prefix": "",
        "triplet": "x86_64-linux-gnu",
        "console": "ttyS0,115200",
        # A kernel that measures the processor's clock on a busy machine measures wrong, and minutes pass in a second: the
        # emulator's own timer is right.
        "kernel": "mitigations=off random.trust_cpu=on clocksource=hpet tsc=unstable no_timer_check lpj=4000000",
        "machine": ["-M", "q35"],
        # first and second are 16550s on the mainboard.
        "serial": [
            *("-serial", "chardev:console", "-serial", "chardev:first", "-serial", "chardev:second"),
            *("-device", "pci-serial,chardev=card,id=card0"),
        ],
        "paths": {"first": "/dev/ttyS1", "second": "/dev/ttyS2", "card": "/dev/ttyS3", "usb": "/dev/ttyUSB0"},
    },
    "arm64": {
        "program": "qemu-system-aarch64",
        "package": "qemu-system-arm",
        "prefix": "aarch64-linux-gnu-",
        "triplet": "aarch64-linux-gnu",
        "console": "ttyAMA0,115200",
        "kernel": "",
        "machine": ["-M", "virt", "-cpu", "cortex-a57"],
        # The mainboard has no 16550; all three are on PCI cards.
        "serial": [
            *("-serial", "chardev:console", "-device", "pci-serial-2x,chardev1=first,chardev2=second"),
            *("-device", "pci-serial,chardev=card,id=card0"),
        ],
        "paths": {"first": "/dev/ttyS0", "second": "/dev/ttyS1", "card": "/dev/ttyS2", "usb": "/dev/ttyUSB0"},
    },
}


def die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Emulator:
    def __init__(self, arch, kernel, archive, folder):
        """folder: for sockets and logs; short, since the names of sockets may not be long."""
        self.folder = folder
        machine = MACHINES[arch]
        command = [
            *(machine["program"], *PROCESSORS, *machine["machine"], "-m", "512"),
            *("-nodefaults", "-no-user-config", "-display", "none", "-no-reboot", "-kernel", kernel, "-initrd", archive),
            *("-append", f"console={machine['console']} {KERNEL} {machine['kernel']}"),
            *("-chardev", "stdio,id=console,signal=off", *self.sockets(), *machine["serial"]),
            *("-device", "qemu-xhci,id=hub", "-device", self.adapter("usb")),
            *("-device", "virtio-serial-pci", "-device", "virtserialport,chardev=outside,name=outside"),
            *("-monitor", f"unix:{self.path('monitor')},server=on,wait=off"),
            *("-trace", "serial_update_parameters", "-D", self.path("trace")),
        ]
        self.errors = open(self.path("errors"), "w+", encoding="utf-8")
        self.process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.errors, preexec_fn=die_with_parent
        )

    def path(self, name):
        return os.path.join(self.folder, name)

    def sockets(self):
        for name in (*SERIAL_PORTS, "outside"):
            yield from ("-chardev", f"socket,id={name},path={self.path(name)},server=on,wait=off")

    def connect(self, name):
        """To a port's far side. Waits until the emulator has made its sockets, the monitor's last."""
        connection = socket.socket(socket.AF_UNIX)
        connection.connect(self.path(name))
        return connection

    def is_ready(self):
        return os.path.exists(self.path("monitor"))

    def monitor(self, command):
        """One command of the emulator's monitor, and what it says."""
        prompt = b"(qemu) "
        with self.connect("monitor") as connection:
            connection.settimeout(30)
            self.until(connection, prompt)
            connection.sendall(command.encode() + b"\n")
            answer = self.until(connection, prompt)
        lines = answer.decode(errors="replace").replace("\r", "").split("\n")[1:-1]
        said = " | ".join(line.strip() for line in lines if line.strip())
        if said.startswith("Error"):
            raise ValueError(said)
        return said

    @staticmethod
    def until(connection, end):
        data = b""
        while not data.endswith(end):
            received = connection.recv(65536)
            if not received:
                raise OSError("the monitor has gone")
            data += received
        return data

    @staticmethod
    def adapter(port):
        return f"usb-serial,bus=hub.0,chardev={port},id={port}-adapter,always-plugged=on"

    def unplug(self, port):
        return self.monitor(f"device_del {port}-adapter")

    def plug(self, port):
        """The emulator is done with an unplugged device a little after the guest is, and refuses another until then."""
        deadline = time.monotonic() + 30
        while True:
            try:
                return self.monitor("device_add " + self.adapter(port))
            except ValueError as refusal:
                if "in use" not in str(refusal) or time.monotonic() > deadline:
                    raise
                time.sleep(0.05)

    def latest_line_settings(self):
        """What a 16550 was last set to, as the emulator's model of it says."""
        with open(self.path("trace"), encoding="utf-8") as file:
            lines = file.read().splitlines()
        return lines[-1] if lines else "none"

    def said(self):
        """What the emulator itself complained about."""
        self.errors.flush()
        self.errors.seek(0)
        return self.errors.read().strip()

    def kill(self):
        self.process.kill()
