#!/usr/bin/env python3
"""Runs an image in the emulator, with its line to the module on a pseudo terminal.

    emulator.py IMAGE [--link PATH | --socket PATH] [--memory FILE] [--press-every MS] [--gdb]

The image's name begins with the name of its machine. A line of one digit on the standard input presses that button.
"""
import argparse
import ctypes
import os
import pathlib
import select
import signal
import socket
import subprocess
import sys
import time
import tty

EMULATOR = "qemu-system-arm"
MACHINES = ("mps2-an385", "mps2-an386", "mps2-an505", "microbit")
PSRAM = 0x21000000  # where images named "psram" have their data
PSRAM_SIZE = 16 << 20  # of the machine
PR_SET_PDEATHSIG = 1  # linux/prctl.h


def die_with_parent():
    """A hung emulator ignores everything but KILL, and must not outlive who started it."""
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def address_of(symbol, image):
    lines = subprocess.run(["arm-none-eabi-nm", image], check=True, capture_output=True, text=True).stdout.splitlines()
    return next(int(line.split()[0], 16) for line in lines if line.split()[2] == symbol)


def memory_words(file):
    """The board's PSRAM is this file, where another process sees what the firmware has there."""
    with open(file, "wb") as memory:
        memory.truncate(PSRAM_SIZE)
    return ["-object", f"memory-backend-file,id=memory,size={PSRAM_SIZE},share=on,mem-path={file}",
            "-machine", "memory-backend=memory"]


def clock_in(file, image):
    """FILE:OFFSET of the milliseconds of an image that has its data in PSRAM."""
    return f"{file}:{address_of('milliseconds', image) - PSRAM}"


class Board:
    """A board that runs until it is closed. `path` is the module's end of its line.

    `more` are further words for the emulator, `given` descriptors that they speak of. With `listen_at` the line is
    not a pseudo terminal but a socket, there: what is written to it has come, however busy the machine is."""

    def __init__(self, image, *more, given=(), listen_at=None):
        image = pathlib.Path(image)
        machine = next((each for each in MACHINES if image.name.startswith(each)), None)
        if machine is None:
            raise ValueError(f"{image.name}: no machine of that name; there are {', '.join(MACHINES)}")
        if not image.is_file():
            raise ValueError(f"there is no {image}; build it with: make firmware")
        line, line_words = self.listen(listen_at) if listen_at else self.make_terminal()
        self.buttons, buttons = socket.socketpair()
        words = [EMULATOR, "-M", machine, "-display", "none", "-monitor", "none", "-kernel", str(image),
                 *line_words, "-serial", "chardev:module",
                 "-chardev", f"socket,id=buttons,fd={buttons.fileno()}", "-serial", "chardev:buttons", *more]
        self.process = subprocess.Popen(words, stdin=subprocess.DEVNULL,
                                        pass_fds=(line, buttons.fileno(), *given), preexec_fn=die_with_parent)
        os.close(line)
        buttons.close()

    def make_terminal(self):
        """The emulator is given the terminal: one that it makes itself it would look at once in a second."""
        master, self.slave = os.openpty()  # the near end stays open here: without one the far end would hang up
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)
        return master, ["-add-fd", f"fd={master},set=1", "-chardev", "serial,id=module,path=/dev/fdset/1"]

    def listen(self, path):
        if pathlib.Path(path).is_socket():  # that somebody has left behind
            os.unlink(path)
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(path))
        listener.listen(1)
        self.slave, self.path = None, str(path)
        descriptor = listener.detach()
        return descriptor, ["-chardev", f"socket,id=module,fd={descriptor},server=on,wait=off"]

    def press(self, button):
        self.buttons.send(b"%d" % button)

    def runs(self):
        return self.process.poll() is None

    def close(self):
        self.process.kill()
        self.process.wait()
        self.buttons.close()
        if self.slave is None:
            pathlib.Path(self.path).unlink(missing_ok=True)
        else:
            os.close(self.slave)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def serve(board, press_every):
    """Until the emulator or the standard input ends."""
    next_press = time.monotonic() + (press_every or 0) / 1000
    lines = open(sys.stdin.fileno(), "rb", buffering=0, closefd=False)  # a buffer could hold one that nobody waits for
    inputs = [lines]
    while board.runs():
        wait = max(0, next_press - time.monotonic()) if press_every else 1
        if select.select(inputs, [], [], min(wait, 1))[0]:
            line = lines.readline()
            if not line:
                inputs = []
            elif line.strip().isdigit() and len(line.strip()) == 1:
                board.press(int(line))
        if press_every and time.monotonic() >= next_press:
            board.press(4)  # which does nothing else
            next_press += press_every / 1000


def ended(*_):
    raise SystemExit(0)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("image")
    parser.add_argument("--link", help="make this a link to the terminal")
    parser.add_argument("--socket", metavar="PATH", help="offer the line as a socket there, not as a terminal")
    parser.add_argument("--memory", metavar="FILE", help="keep the data of a psram image in this file, and say where its "
                        "clock is: for zent-hostcheck --clock")
    parser.add_argument("--press-every", type=int, metavar="MS", help="press a button every so many milliseconds")
    parser.add_argument("--gdb", action="store_true", help="let a debugger attach at port 1234")
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, ended)
    try:
        more = ["-s"] if arguments.gdb else []
        if arguments.memory:
            more += memory_words(arguments.memory)
            print("its clock is", clock_in(arguments.memory, arguments.image))
        with Board(arguments.image, *more, listen_at=arguments.socket) as board:
            if arguments.link:
                pathlib.Path(arguments.link).unlink(missing_ok=True)
                os.symlink(board.path, arguments.link)
            print("listening on", arguments.link or board.path, flush=True)
            try:
                serve(board, arguments.press_every)
            finally:
                if arguments.link:
                    os.unlink(arguments.link)
            print(f"{EMULATOR} ended by itself", file=sys.stderr)
    except ValueError as mistake:
        print(f"emulator.py: {mistake}", file=sys.stderr)
        return 2
    except FileNotFoundError:
        print(f"emulator.py: no {EMULATOR} here; it is in the package of that name, which make firmware installs",
              file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 0
    return 1


if __name__ == "__main__":
    sys.exit(main())
