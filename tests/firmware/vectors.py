"""Plays the vectors of firmware/vectors against a host."""
import pathlib
import time

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "firmware" / "vectors"
RESPONSE_LENGTH = 8


class Vector:
    def __init__(self, name):
        self.name, self.steps = name, []


def read(path=FOLDER / "serial-line.txt"):
    found = []
    for line in path.read_text(encoding="utf-8").splitlines():
        sign, rest = line[:1], line[1:].strip()
        if sign == "=":
            found.append(Vector(rest))
        elif sign in ("<", ">"):
            found[-1].steps.append((sign, rest.split()))
        else:
            assert sign in ("", "#"), line
    assert found
    return found


def is_like(packet, wanted):
    words = packet.hex(" ").upper().split()
    return len(words) == len(wanted) and all(seen == each or each == "??" for seen, each in zip(words, wanted))


class Player:
    """One vector at the line of `module`, which acknowledges what comes."""

    def __init__(self, vector, module):
        self.vector, self.module = vector, module
        assert module.reset(), vector.name
        self.said = {True: [], False: []}  # responses, messages

    def listen(self, seconds):
        self.module.serve(seconds)
        for packet in self.module.packets_seen:
            self.said[len(packet) == RESPONSE_LENGTH].append(packet)
        self.module.packets_seen.clear()

    def expect(self, wanted):
        said = self.said[len(wanted) == RESPONSE_LENGTH]
        deadline = time.monotonic() + self.module.timeout
        while not said and time.monotonic() < deadline:
            self.listen(0.1)
        assert said, (self.vector.name, "nothing in place of " + " ".join(wanted))
        packet = said.pop(0)
        assert is_like(packet, wanted), (self.vector.name, packet.hex(" "), " ".join(wanted))

    def play(self):
        self.module.packets_seen.clear()
        for sign, words in self.vector.steps:
            if sign == ">":
                self.module.write(bytes.fromhex("".join(words)))
            else:
                self.expect(words)
        # It answers in order: whatever it still had to say comes before the answer to this.
        self.module.write(bytes.fromhex("FFFE08002100" + "0000"))
        self.expect("FF FE 08 00 A3 ?? ?? 00".split())
        assert not self.said[True] and not self.said[False], (self.vector.name, self.said)


def play(vector, module):
    Player(vector, module).play()
