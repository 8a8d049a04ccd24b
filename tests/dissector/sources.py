"""Bytes to look at: the test vectors, the stored inputs of the fuzz targets, recorded conversations."""
import pathlib
import re
import struct

from pcapng import EPOCH, TO_HOST, TO_MODULE

TOP = pathlib.Path(__file__).resolve().parents[2]
ROW = re.compile(r'"([^"]*)"|([^,{}"\s][^,{}"]*)')


def rows(name):
    """The rows of a table of vectors, each a list of its columns as text."""
    for line in (TOP / "tests/vectors" / f"{name}.inc").read_text(encoding="utf-8").splitlines():
        if line.startswith("    {"):
            yield [(text or plain).strip() for text, plain in ROW.findall(line)]


def packet(payload, frame_id=0, packet_id=0, flags=0x23):
    return struct.pack("<2sHBBBB", b"\xff\xfe", len(payload) + 10, flags, frame_id, packet_id, 0) + payload + b"\0\0"


def response(flags, frame_id=0):
    return struct.pack("<2sHBBBB", b"\xff\xfe", 8, flags, frame_id, 0, 0)


def irq(size, frame_id=0):
    return packet(struct.pack("<I", size), frame_id, 0, 0x22)


def vector_packets():
    return [bytes.fromhex(row[6]) for row in rows("message_packets")]


def vector_messages():
    """Messages of one item each: fixed values, every state, every named value in every width that holds it."""
    messages = [bytes.fromhex(row[3]) for row in rows("fixed_values")]
    messages += [struct.pack("<HBH", 2, 1, int(row[0], 0)) for row in rows("state_names")]
    for row in rows("state_value_names"):
        tag, value = int(row[0], 0), int(row[1], 0)
        for encoding, code in ((204, "B"), (205, "H"), (206, "I"), (207, "Q"), (208, "b"), (209, "h"), (210, "i"), (211, "q")):
            try:
                messages.append(struct.pack("<HBHB" + code, 4, 1, tag, encoding, value))
            except struct.error:  # too narrow
                pass
    return messages


def corpus():
    """Every stored input as (target, bytes), in one order."""
    for folder in sorted((TOP / "fuzz/corpus").iterdir()):
        for path in sorted(folder.iterdir()):
            yield folder.name, path.read_bytes()


def conversations(name):
    """Recorded conversations as {faults: [(what, rest)]}."""
    text = (TOP / "tests/hostsim/conversations" / f"{name}.inc").read_text(encoding="utf-8")
    return {faults: [tuple((line + " ").split(" ", 1)) for line in body.strip().splitlines()]
            for faults, body in re.findall(r'\{"(\w+)", R"\(\n(.*?)\)"\}', text, re.DOTALL)}


def line_capture(capture, faults, steps):
    """A conversation on a serial line as a recorder at the module has it; its interface."""
    interface, now = capture.interface(f"line {faults}", "uart bytes, 115200 baud"), EPOCH
    for what, rest in steps:
        if what == "after":
            now += 1000 * int(rest)
        elif what in ("module", "host"):
            now += 100
            capture.packet(interface, TO_HOST if what == "module" else TO_MODULE, bytes.fromhex(rest), now)
    return interface


def bus_capture(capture, faults, steps):
    """The same on a bus: each phase of a transaction a packet, idle bytes to the end of a read."""
    interface, now = capture.interface(f"bus {faults}", "i2c transactions, address 0x28"), EPOCH
    for what, rest in steps:
        if what == "after":
            now += 1000 * int(rest)
            continue
        now += 100
        if what == "write":
            capture.packet(interface, TO_HOST, bytes.fromhex(rest), now)
        elif what == "read":
            count, content = (rest + " ").split(" ", 1)
            capture.packet(interface, TO_MODULE, bytes.fromhex(content).ljust(int(count), b"\xff"), now)
        elif what == "line":
            capture.packet(interface, TO_MODULE, b"", now, [f"line {rest.strip()}"])
    return interface
