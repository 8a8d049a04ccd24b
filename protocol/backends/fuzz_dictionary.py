"""Words of the protocol for the fuzzer, in wire order."""
import re

from backends import cpp

PATH = "fuzz/hostlink.dict"
LARGEST = 0xFFFF
PACKET_SIZE = 64  # what a link cuts messages by when nobody says otherwise


def word(name, data):
    return f'{name}="' + "".join(f"\\x{byte:02X}" for byte in data) + '"'


def u16(number):
    return number.to_bytes(2, "little")


def plain(enumerator):
    """`MSG_GetState` as `get_state`."""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", enumerator.split("_", 1)[1]).lower()


def headers(model):
    """Flags by their words: response, reset and IRQ frames, message packets."""
    last = model.control_flags.row("PKT_Last").number
    message = model.formats.row("FMT_Message").number
    yield "reset", model.formats.row("FMT_Reset").number | last
    yield "irq", model.formats.row("FMT_Irq").number | last
    yield "more", message
    yield "last", message | last
    for row in model.acknowledgements.rows:
        if row.number:
            yield f"last_{plain('_' + row.enumerator)}", message | last | row.number << model.flags.acknowledge_shift


def packets(model):
    mark = u16(model.start_mark.number)
    flags = dict(headers(model))
    alone = u16(model.header_size)
    for name in ("last_ack", "last_nack", "reset"):
        yield f"packet_{name.removeprefix('last_')}", mark + alone + bytes([flags[name], 0, 0, 0])
    irq = model.frame_size(model.frame_types.row("FRT_Irq"))
    yield "packet_irq", mark + u16(irq) + bytes([flags["irq"], 0, 0, 0, PACKET_SIZE]) + bytes(irq - 9)


def lengths(model):
    header, overhead = model.header_size, model.header_size + model.trailer_size
    irq = model.frame_size(model.frame_types.row("FRT_Irq"))
    return (0, header - 1, header, header + 1, overhead, overhead + 1, irq, PACKET_SIZE, LARGEST)


def items(model):
    """A tag with the encoding of its value; a binary one with its length."""
    for row in model.encodings.rows:
        tag = 1 if row.kind in ("nil", "binary") else 3
        yield plain(row.enumerator), u16(tag) + bytes([row.number]) + (u16(2) if row.kind == "binary" else b"")
    yield "below_encodings", bytes([model.encodings.rows[0].number - 1])
    yield "above_encodings", bytes([model.encodings.rows[-1].number + 1])


def named_states(model):
    """The tags whose values have names, each with a value that has one."""
    encoding = model.encodings.row("ENC_Uint32").number
    for row in model.tags["State"].rows:
        if row.values:
            value = model.values[row.values].rows[-1].number & 0xFFFFFFFF
            yield f"state_{plain(row.enumerator)}", u16(row.number) + bytes([encoding]) + value.to_bytes(4, "little")


def files(model, _read):
    mark = u16(model.start_mark.number)
    sections = {
        "Words of the protocol for the fuzzer, in wire order.": [("start_mark", mark), ("half_mark", mark[:1])],
        "start mark and length": [(f"length_{n}", mark + u16(n)) for n in lengths(model)],
        "flags": [(name, bytes([flags])) for name, flags in headers(model)],
        "whole packets": packets(model),
        "message ids": [(f"message_{plain(row.enumerator)}", u16(row.number)) for row in model.messages.rows]
        + [(f"id_{n}", u16(n)) for n in (model.messages.largest_number, model.messages.largest_number + 1)],
        "a tag with the encoding of its value": items(model),
        "states with a value that has a name": named_states(model),
    }
    text = "\n".join(f"# {title}\n" + "\n".join(word(*each) for each in words) + "\n"
                     for title, words in sections.items())
    return {PATH: f"# {cpp.WRITTEN}\n{text}"}
