"""A guest that has booted, in a file: each guest goes on from there, since a boot under emulation takes longer than most tests.

It boots when there is no such file, or only one of another guest or emulator.
"""

import fcntl
import glob
import hashlib
import os
import shutil
import subprocess
import tempfile
import threading

from emulator import Emulator

PATIENCE = 600  # seconds, for a boot on a busy machine


class BootFailure(Exception):
    pass


def state_of(arch, guest):
    """The file. Whoever comes while another makes it waits."""
    path = f"{guest}/booted-{what_boots(arch, guest)}"
    with open(f"{guest}/booted.lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not os.path.exists(path):
            make(arch, guest, path)
    return path


def what_boots(arch, guest):
    """Differs whenever another state would come out."""
    command = Emulator.command(arch, guest)
    files = [os.stat(path) for path in (shutil.which(command[0]), f"{guest}/kernel", f"{guest}/guest.cpio")]
    known = command + [f"{file.st_ino} {file.st_size} {file.st_mtime_ns}" for file in files]
    return hashlib.sha256("\n".join(known).encode()).hexdigest()[:16]


def make(arch, guest, path):
    for old in glob.glob(f"{guest}/booted-*"):
        os.remove(old)
    with tempfile.TemporaryDirectory(prefix="guest-") as folder:
        saved = Boot(arch, guest, folder).saved()
        shutil.move(saved, path + ".new")
    os.rename(path + ".new", path)


class Boot:
    """One guest up to where it is ready."""

    def __init__(self, arch, guest, folder):
        self.lines = []  # of its console
        self.emulator = Emulator(arch, guest, folder)
        self.console = threading.Thread(target=self.listen, daemon=True)
        self.console.start()

    def listen(self):
        for raw in self.emulator.process.stdout:
            self.lines.append(raw.decode(errors="replace").rstrip("\r\n"))

    def saved(self):
        limit = threading.Timer(PATIENCE, self.emulator.kill)
        limit.start()
        try:
            self.emulator.wait_until_ready()
            with self.emulator.connect("outside") as connection, connection.makefile("r", encoding="utf-8") as lines:
                self.check(lines.readline().split())
                return self.emulator.save(PATIENCE)
        except (OSError, ValueError) as reason:
            raise BootFailure("\n".join([f"the guest does not boot: {reason}", *self.said()])) from reason
        finally:
            limit.cancel()
            self.end()

    @staticmethod
    def check(words):
        if not words:
            raise ValueError("it has ended")
        if words != ["ready"]:
            raise ValueError(f"modules that do not load: {' '.join(words[1:])}")

    def said(self):
        self.end()
        return [line for line in [*self.lines, self.emulator.said()] if line]

    def end(self):
        self.emulator.kill()
        self.emulator.process.wait()
        self.console.join()
