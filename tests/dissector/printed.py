"""The printer's words, from the printer and once more from what tshark shows."""
import re
import subprocess

from dissection import name_in

# What the printer shows the items of, and by which kind of name.
WITH_ITEMS = {0x0001, 0x0002, 0x0003, 0x0004, 0x0005, 0x0006, 0x0007, 0x0008,
              0x8001, 0x8002, 0x8003, 0x8005, 0x8007, 0x8009}
TAGS_BY_NUMBER = {0x8007}
TAGS = ("state", "button", "transfer", "tunnel", "led", "tag")
WIDTHS = {204: 1, 205: 2, 206: 4, 207: 8, 208: 1, 209: 2, 210: 4, 211: 8}


def printed(program, what, every):
    """What the printer says of each."""
    lines = "".join(f"{what} {data.hex()}\n" for data in every)
    done = subprocess.run([program], input=lines, capture_output=True, text=True, check=True)
    return done.stdout.split(".\n")[:-1] if every else []


def number(part, name):
    return int(part.show(name), 0)


def of_packet(part):
    flags = number(part, "flags")
    names = [name for name in ("last", "nack", "ack") if part.show(f"flags.{name}") in ("1", "True")]
    form = part.word("flags.format")
    names.append("" if form.startswith("Unknown") else form)
    return (f"0x{number(part, 'start_mark'):04x} - sop\n0x{number(part, 'length'):04x} - length: {number(part, 'length')}\n"
            f"0x{flags:02x} - flags: {' '.join(names)}\n"
            f"0x{number(part, 'frame_id'):02x} - frame id: {number(part, 'frame_id')}\n"
            f"0x{number(part, 'packet_id'):02x} - packet id: {number(part, 'packet_id')}\n0x00 - padding\n")


def of_message(part):
    if part.show("message") is None or number(part, "message") == 0:
        return "Invalid message id\n"
    identity = number(part, "message")
    text = f"0x{identity:04x} - message id: {known(part.word('message'))}\n"
    if identity not in WITH_ITEMS:
        return text
    too_few = any(re.match(r"it ends before|too short", each) for each in part.said())
    count = 0 if too_few or part.show("message.count") is None else number(part, "message.count")
    text += f"0x{count:02x} - count: {count}\n"
    for item in part.all("item"):
        text += of_item(identity, {each.get("name").removeprefix("hostlink."): each for each in item.iter("field")})
    return text + "Invalid tag\n" * (0 if count == 0 else int(part.show("message.unreadable") or 0))


def known(name):
    return "Unknown" if name.startswith("Unknown") else name


def of_item(identity, fields):
    tag = next(fields[name] for name in TAGS if name in fields)
    tag_number, tag_name = int(tag.get("show"), 0), name_in(tag)
    if "encoding" not in fields:
        return f"0x{tag_number:04x} - state: {known(tag_name or 'Unknown')}\n"
    if identity in TAGS_BY_NUMBER or tag_name is None or tag_name.startswith("Unknown"):
        tag_name = f"Unknown ({tag_number})"
    encoding = int(fields["encoding"].get("show"))
    return (f"0x{tag_number:04x} - tag: {tag_name}\n"
            f"0x{encoding:02x} - encoding: {name_in(fields['encoding'])}\n{of_value(encoding, fields)}")


def of_value(encoding, fields):
    if "value.size" in fields:
        size = int(fields["value.size"].get("show"))
        return f"0x{size:04x} - size: {size}\n"
    if encoding not in WIDTHS:
        return ""
    value = int(fields["value.unsigned" if "value.unsigned" in fields else "value"].get("show"))
    width = WIDTHS[encoding]
    bits = 8 * max(width, 4) if encoding == 208 else 8 * width  # the printer widens a signed byte
    name = fields["value.name"].get("show") if "value.name" in fields else str(value)
    return f"0x{value % (1 << bits):0{2 * width}x} - value: {name}\n"
