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

# Ways between the guest's own programs and this machine: requests and what they lead to; what the guest is given to run.
CHANNELS = ("outside", "files")

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
        # The mainboard has no 16550; all three are on PCI cards. One of them has room for four, of which the kernel takes three
        # beside the other: the emulator ends by a fault when it saves a card with room for two.
        "serial": [
            *("-serial", "chardev:console", "-device", "pci-serial,chardev=card,id=card0"),
            *("-device", "pci-serial-4x,chardev1=first,chardev2=second"),
        ],
        "paths": {"first": "/dev/ttyS1", "second": "/dev/ttyS2", "card": "/dev/ttyS0", "usb": "/dev/ttyUSB0"},
    },
}


def die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Emulator:
    def __init__(self, arch, guest, folder, state=None):
        """folder: for sockets and logs; short, since the names of sockets may not be long. The guest boots, or goes on from
        `state`, a file of save(). Its USB port has no adapter yet: the emulator cannot save one."""
        self.folder = folder
        with open(state or os.devnull, "rb") as saved:
            command = self.command(arch, guest)
            command += ["-incoming", f"fd:{saved.fileno()}"] if state else []
            self.errors = open(self.path("errors"), "w+", encoding="utf-8")
            self.process = subprocess.Popen(
                command,
                cwd=folder,
                pass_fds=[saved.fileno()],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=self.errors,
                preexec_fn=die_with_parent,
            )

    @classmethod
    def command(cls, arch, guest):
        """Files of its own are in the folder where it runs."""
        machine = MACHINES[arch]
        ports = (f"virtserialport,nr={number},chardev={name},name={name}" for number, name in enumerate(CHANNELS, 1))
        return [
            *(machine["program"], *PROCESSORS, *machine["machine"], "-m", "512"),
            *("-nodefaults", "-no-user-config", "-display", "none", "-no-reboot"),
            *("-kernel", f"{guest}/kernel", "-initrd", f"{guest}/guest.cpio"),
            *("-append", f"console={machine['console']} {KERNEL} {machine['kernel']}"),
            *("-chardev", "stdio,id=console,signal=off", *cls.sockets(), *machine["serial"]),
            *("-device", "qemu-xhci,id=hub", "-device", "virtio-serial-pci"),
            *(word for port in ports for word in ("-device", port)),
            *("-monitor", "unix:monitor,server=on,wait=off"),
            *("-trace", "serial_update_parameters", "-D", "trace"),
        ]

    def path(self, name):
        return os.path.join(self.folder, name)

    @staticmethod
    def sockets():
        for name in (*SERIAL_PORTS, *CHANNELS):
            yield from ("-chardev", f"socket,id={name},path={name},server=on,wait=off")

    def connect(self, name):
        """To a port's far side. Waits until the emulator has made its sockets, the monitor's last."""
        connection = socket.socket(socket.AF_UNIX)
        connection.connect(self.path(name))
        return connection

    def wait_until_ready(self):
        """Until it can be connected to, or has ended, which a connection tells."""
        while not os.path.exists(self.path("monitor")) and self.process.poll() is None:
            time.sleep(0.02)

    def monitor(self, command, patience=30):
        """One command of the emulator's monitor, and what it says within so many seconds."""
        prompt = b"(qemu) "
        with self.connect("monitor") as connection:
            connection.settimeout(patience)
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

    def save(self, patience):
        """The machine as it is now, running, to the file that this returns; here it does not go on."""
        self.monitor("migrate_set_parameter max-bandwidth 100G")
        said = self.monitor("migrate exec:cat>state", patience) + self.monitor("info migrate")
        if "Migration status: completed" not in said:
            raise ValueError("the machine cannot be saved: " + said)
        return self.path("state")

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
