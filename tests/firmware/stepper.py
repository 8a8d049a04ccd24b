"""Runs a board one instruction at a time, through the emulator's port for debuggers."""
import socket


class Stepper:
    """With its words a board stands still before its first instruction."""

    def __init__(self):
        self.here, self.there = socket.socketpair()
        self.here.settimeout(60)  # the emulator has to start, too
        self.words = ["-S", "-chardev", f"socket,id=stepper,fd={self.there.fileno()}", "-gdb", "chardev:stepper"]
        self.answers = self.here.makefile("rb")

    def send(self, command):
        self.here.sendall(b"$%s#%02x" % (command, sum(command) % 256))
        assert self.answers.read(1) == b"+", command

    def ask(self, command):
        self.send(command)
        answer = b""
        while not answer.endswith(b"#"):
            answer += self.answers.read(1)
        self.answers.read(2)  # its checksum
        self.here.sendall(b"+")
        return answer.strip(b"$#")

    def run_to(self, address):
        assert self.ask(b"Z0,%x,2" % address) == b"OK"
        self.step(b"c")
        assert self.ask(b"z0,%x,2" % address) == b"OK"

    def step(self, command=b"s"):
        """Between two steps the emulator looks for input."""
        answer = self.ask(command)
        assert answer.startswith(b"T05"), answer

    def let_run(self):
        self.send(b"c")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for each in (self.answers, self.here, self.there):
            each.close()
