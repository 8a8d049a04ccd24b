#!/usr/bin/env python3
"""run_in_guest.py [OPTION...] PROGRAM [ARGUMENT...]: see scripts/run-in-kernel.sh."""

import argparse
import os
import shutil
import sys
import tempfile
import threading
import time

from booted import BootFailure, state_of
from emulator import MACHINES, Emulator
from initramfs import Tree, shell_words
from outside import Outside

SKIPPED = 77
FAILED = 70
PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))


def arguments():
    parser = argparse.ArgumentParser(prog="run-in-kernel.sh", description="Runs a program on a real kernel in an emulated machine.")
    parser.add_argument("--arch", default="amd64", choices=sorted(MACHINES))
    parser.add_argument("--build", help="folder of the build that the program's libraries are from")
    parser.add_argument("--hostsim", default=f"{PROJECT}/build/release/bin/zent-hostsim", help="of this machine")
    parser.add_argument("--limit", type=float, default=300, help="seconds, after which the guest is killed")
    parser.add_argument("--with", action="append", default=[], dest="more", metavar="FILE", help="another program to put in")
    parser.add_argument("--env", action="append", default=[], metavar="NAME=VALUE", help="for the program")
    parser.add_argument("--rig", nargs="?", const="", metavar="HOST_OPTIONS", help="with the rig's host behind the buses")
    parser.add_argument("--times", action="store_true", help="say when each line came")
    parser.add_argument("program", help="a file here, or a program of busybox")
    parser.add_argument("rest", nargs=argparse.REMAINDER)
    return parser.parse_args()


def command_of(options):
    """What the guest's init runs, as lines of a shell."""
    machine = MACHINES[options.arch]
    lines = [f"export ZENT_PORT_{name.upper()}={path}" for name, path in machine["paths"].items()]
    lines += ["export " + shell_words([setting]) for setting in options.env]
    if options.rig is not None:
        lines += [
            "export ZENT_RIG_CONTROL=/tmp/rig",
            "zent-kernelrig /tmp/rig " + shell_words([options.rig]) + " & rig=$!",
            "appears /tmp/rig",
        ]
    is_here = "/" in options.program or os.path.isfile(options.program)
    program = os.path.realpath(options.program) if is_here else options.program
    lines += [shell_words([program, *options.rest]) + " </dev/null"]
    return "\n".join(lines) + "\n"


def programs_of(options):
    found = list(options.more)
    if "/" in options.program or os.path.isfile(options.program):
        found.insert(0, options.program)
    if options.rig is not None:
        found.append(f"{options.build}/bin/zent-kernelrig")
    return found


def make_archive(options, folder):
    machine = MACHINES[options.arch]
    triplet = machine["triplet"]
    places = [f"{options.build}/lib", f"/lib/{triplet}", f"/usr/lib/{triplet}", f"/usr/{triplet}/lib"]
    tree = Tree(folder, machine["prefix"], places)
    for program in programs_of(options):
        tree.add_program(program)
    tree.write("/run/command", command_of(options))
    return tree.archive()


class Run:
    """One guest from its start to its end."""

    def __init__(self, options, archive, emulator):
        self.options = options
        self.archive = archive
        self.start = time.monotonic()
        self.code = None  # of the program in the guest, once it has said so
        self.killed = False
        self.over = threading.Event()
        self.emulator = emulator

    def seconds(self):
        return time.monotonic() - self.start

    def say(self, text):
        print(f"{self.seconds():7.2f} {text}" if self.options.times else text, flush=True)

    def kill_at_the_limit(self):
        if not self.over.wait(self.options.limit):
            self.killed = True
            self.emulator.kill()

    def serve(self):
        """What the guest asks the outside for, until it has gone."""
        self.emulator.wait_until_ready()
        outside = Outside(self.emulator, self.options.hostsim)
        try:
            with self.emulator.connect("outside") as connection, connection.makefile("rw", encoding="utf-8") as lines:
                lines.write(f"go {int(time.time())}\n")
                lines.flush()
                for line in lines:
                    self.take(line.strip(), lines, outside)
        except OSError:
            pass  # the emulator has ended
        except ValueError as refusal:
            print(f"run-in-kernel: the guest lacks what it needs: {refusal}", file=sys.stderr)
            self.emulator.kill()
        outside.end()

    def take(self, line, lines, outside):
        first, _, rest = line.partition(" ")
        if first == "booted":
            self.say(f"guest: Linux {rest}, up after {self.seconds():.1f} s")
            self.bring_in()
        elif first == "ended":
            self.code = int(rest)
        elif line:
            lines.write(outside.answer(line) + "\n")
            lines.flush()

    def bring_in(self):
        """What a guest that has just gone on still lacks."""
        self.emulator.plug("usb")
        with self.emulator.connect("files") as files, files.makefile("r", encoding="utf-8") as lines:
            lines.readline()  # it is ready
            files.sendall(self.archive)
            lines.readline()  # it has taken all: the emulator forgets what is under way when a connection ends

    def result(self):
        threads = [threading.Thread(target=work, daemon=True) for work in (self.kill_at_the_limit, self.serve)]
        for thread in threads:
            thread.start()
        for raw in self.emulator.process.stdout:
            self.say(raw.decode(errors="replace").rstrip("\r\n"))
        self.emulator.process.wait()
        self.over.set()
        for thread in threads:
            thread.join()
        return self.verdict()

    def verdict(self):
        if complaint := self.emulator.said():
            print(complaint, file=sys.stderr)
        if self.killed:
            print(f"run-in-kernel: the guest did not end within {self.options.limit:g} s and was killed", file=sys.stderr)
            return FAILED
        if self.code is None:
            print("run-in-kernel: the guest went down before its program had ended", file=sys.stderr)
            return FAILED
        self.say(f"guest: ended with {self.code} after {self.seconds():.1f} s")
        return self.code


def main():
    options = arguments()
    options.build = options.build or f"{PROJECT}/build/{'aarch64' if options.arch == 'arm64' else 'release'}"
    machine = MACHINES[options.arch]
    if not shutil.which(machine["program"]):
        print(f"no guest can run here: {machine['program']} is missing (package {machine['package']})", file=sys.stderr)
        return SKIPPED
    guest = f"{PROJECT}/build/kernel/{options.arch}"
    if not os.path.exists(f"{guest}/guest.cpio"):
        print(f"no guest can run here: scripts/build-kernel-guest.sh {options.arch} has not been run", file=sys.stderr)
        return SKIPPED
    try:
        state = state_of(options.arch, guest)
    except BootFailure as failure:
        print(f"run-in-kernel: {failure}", file=sys.stderr)
        return FAILED
    with tempfile.TemporaryDirectory(prefix="guest-") as folder:
        archive = make_archive(options, folder)
    with tempfile.TemporaryDirectory(prefix="guest-") as folder:
        return Run(options, archive, Emulator(options.arch, guest, folder, state)).result()


if __name__ == "__main__":
    sys.exit(main())
