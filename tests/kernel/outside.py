"""The world outside the guest: the far sides of its serial ports, and what a test in the guest asks for there.

A test writes one line to /dev/outside and reads one line back, "ok TEXT" or "error TEXT":

  hostsim PORT OPTION...   a simulated host at the port's far side; TEXT is what it says first
  hostsim-stop PORT        ends it; TEXT is what it has counted
  echo PORT                what comes is sent back
  detach PORT              nobody is there any more
  send PORT HEX            those bytes come into the guest
  line-settings            what a 16550 was last set to: rate, parity, data bits, stop bits
  unplug PORT, plug PORT   the USB adapter
  monitor COMMAND          a command of the emulator
"""

import os
import pty
import select
import subprocess
import threading
import tty


class Pump(threading.Thread):
    """Carries bytes between a port and a descriptor in both directions, until it is stopped or one of them ends."""

    def __init__(self, port, descriptor):
        super().__init__(daemon=True)
        self.port = port
        self.descriptor = descriptor
        self.stopped, self.stop_end = os.pipe()
        self.start()

    def run(self):
        ways = {self.port.fileno(): self.descriptor, self.descriptor: self.port.fileno()}
        try:
            while True:
                ready = select.select([*ways, self.stopped], [], [])[0]
                if self.stopped in ready:
                    return
                for source in ready:
                    data = os.read(source, 4096)
                    if not data:
                        return
                    while data:
                        data = data[os.write(ways[source], data) :]
        except OSError:
            pass  # one of the ends has gone, which is an end as well

    def stop(self):
        os.write(self.stop_end, b"x")
        self.join()
        os.close(self.stopped)
        os.close(self.stop_end)


class Echo(threading.Thread):
    def __init__(self, port):
        super().__init__(daemon=True)
        self.port = port
        self.start()

    def run(self):
        try:
            while data := self.port.recv(4096):
                self.port.sendall(data)
        except OSError:
            pass


class FarSide:
    """Whoever is at a port's far side now."""

    def __init__(self, port):
        self.port = port

    def end(self):
        self.port.close()
        return ""


class EchoSide(FarSide):
    def __init__(self, port):
        super().__init__(port)
        self.echo = Echo(port)

    def end(self):
        self.port.shutdown(2)
        self.echo.join()
        return super().end()


class HostSide(FarSide):
    """A simulated host on a terminal of its own, joined to the port."""

    def __init__(self, port, program, options):
        super().__init__(port)
        self.master, slave = pty.openpty()
        tty.setraw(slave)
        self.process = subprocess.Popen(
            [program, "--device", os.ttyname(slave), *options],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        self.first_line = self.process.stdout.readline().strip()
        os.close(slave)
        self.pump = Pump(port, self.master)

    def end(self):
        self.process.terminate()
        counted = self.process.communicate()[0]
        self.pump.stop()
        os.close(self.master)
        super().end()
        return " | ".join(line.strip() for line in counted.splitlines() if line.strip())


class Outside:
    def __init__(self, emulator, hostsim):
        self.emulator = emulator
        self.hostsim = hostsim
        self.sides = {}  # by the port's name; one thread uses this object

    def attach(self, name, make):
        if name in self.sides:
            self.sides.pop(name).end()
        self.sides[name] = make(self.emulator.connect(name))
        return self.sides[name]

    def answer(self, line):
        try:
            return ("ok " + self.carry_out(line.split())).rstrip()
        except Exception as reason:  # the test fails with it
            return f"error {type(reason).__name__} {reason}".replace("\n", " ")

    def carry_out(self, words):
        name, arguments = words[0], words[1:]
        if name == "hostsim":
            return self.attach(arguments[0], lambda port: HostSide(port, self.hostsim, arguments[1:])).first_line
        if name == "echo":
            self.attach(arguments[0], EchoSide)
            return ""
        if name in ("hostsim-stop", "detach"):
            return self.sides.pop(arguments[0]).end()
        if name == "send":
            if arguments[0] not in self.sides:
                self.attach(arguments[0], FarSide)
            self.sides[arguments[0]].port.sendall(bytes.fromhex(arguments[1]))
            return ""
        if name == "line-settings":
            return self.emulator.latest_line_settings()
        if name == "unplug":
            return self.emulator.unplug(arguments[0])
        if name == "plug":
            return self.emulator.plug(arguments[0])
        if name == "monitor":
            return self.emulator.monitor(" ".join(arguments))
        raise ValueError("there is no request " + name)

    def end(self):
        while self.sides:
            self.sides.popitem()[1].end()
