"""A program on a terminal of its own, and what a person would see there: an emulator (python3-pyte) draws it."""
import fcntl
import os
import pty
import select
import signal
import struct
import subprocess
import termios
import time

import pyte

from programs_test import PATIENCE


class Terminal:
    def __init__(self, words, columns=80, rows=24, **other):
        self.master, self.slave = pty.openpty()
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.raw = b""
        self.resize(columns, rows, tell=False)
        self.found = termios.tcgetattr(self.slave)
        # A session of its own: Ctrl-C and changes of the size reach it as they reach a shell's job.
        self.process = subprocess.Popen(words, stdin=self.slave, stdout=self.slave, stderr=self.slave,
                                        start_new_session=True, preexec_fn=take_terminal, **other)

    def resize(self, columns, rows, tell=True):
        self.screen.resize(rows, columns)
        fcntl.ioctl(self.slave if not tell else self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def lines(self):
        return [line.rstrip() for line in self.screen.display]

    def pump(self, seconds):
        """Takes what comes within that time; whether anything came."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        more = os.read(self.master, 65536)
        self.raw += more
        self.stream.feed(more)
        return True

    def wait_until(self, is_so):
        """Until the screen is so: `is_so(lines)`."""
        deadline = time.monotonic() + PATIENCE
        while not is_so(self.lines()):
            left = deadline - time.monotonic()
            assert left > 0 and self.pump(left), "\n".join(self.lines())

    def wait_for(self, text):
        self.wait_until(lambda lines: any(text in line for line in lines))

    def type(self, keys):
        os.write(self.master, keys.encode())

    def end(self):
        """Its exit code, once it ends by itself."""
        deadline = time.monotonic() + PATIENCE
        while self.process.poll() is None:
            assert time.monotonic() < deadline, "does not end:\n" + "\n".join(self.lines())
            self.pump(0.02)
        self.take_the_rest(deadline)
        return self.process.returncode

    def take_the_rest(self, deadline):
        """What was written to a terminal comes out of it later, when the system finds the time: our own word, behind it, is
        waited for."""
        rest, last = b"", b"\0that was all\0"
        os.write(self.slave, last)
        while not rest.endswith(last):
            left = deadline - time.monotonic()
            assert left > 0 and select.select([self.master], [], [], left)[0], rest
            rest += os.read(self.master, 65536)
        self.raw += rest[:-len(last)]
        self.stream.feed(rest[:-len(last)])

    def has_room(self):
        """Whether it takes another byte within a twentieth of a second from now."""
        deadline = time.monotonic() + 0.05
        while time.monotonic() < deadline:
            if not select.select([], [self.slave], [], 0)[1]:
                return False
        return True

    def is_as_found(self):
        return termios.tcgetattr(self.slave) == self.found

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        os.close(self.master)
        os.close(self.slave)


def take_terminal():
    fcntl.ioctl(0, termios.TIOCSCTTY, 0)
