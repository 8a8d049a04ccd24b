"""A pseudo terminal between the module and a board, which loses, changes and inserts bytes on the way to the board."""
import os
import random
import select
import threading
import tty


class Relay:
    """After `disturb`, each byte towards the board meets a fault with this probability, drawn from the seed."""

    def __init__(self, board_path, kinds, rate, seed):
        self.board = os.open(board_path, os.O_RDWR | os.O_NOCTTY)
        self.master, self.slave = os.openpty()
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)
        self.kinds, self.rate = kinds, rate
        self.left = 0  # faults until it is over
        self.random = random.Random(seed)
        self.faults = 0  # so far
        self.wake, self.woken = os.pipe()
        self.thread = threading.Thread(target=self.carry)
        self.thread.start()

    def disturb(self, most):
        """From now on, until so many faults have been."""
        self.left = most

    def carry(self):
        while True:
            ready = select.select([self.master, self.board, self.wake], [], [])[0]
            if self.wake in ready:
                return
            if self.board in ready:
                os.write(self.master, os.read(self.board, 4096))
            if self.master in ready:
                os.write(self.board, self.spoil(os.read(self.master, 4096)))

    def spoil(self, data):
        out = bytearray()
        for byte in data:
            if self.left == 0 or self.random.random() >= self.rate:
                out.append(byte)
                continue
            self.left -= 1
            self.faults += 1
            kind = self.random.choice(self.kinds)
            if kind == "change":
                out.append(byte ^ self.random.randrange(1, 256))
            elif kind == "insert":
                out += bytes([self.random.randrange(256), byte])
            else:
                assert kind == "lose", kind
        return bytes(out)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.write(self.woken, b"x")
        self.thread.join()
        for descriptor in (self.board, self.master, self.slave, self.wake, self.woken):
            os.close(descriptor)
