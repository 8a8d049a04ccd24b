"""The Wireshark plugin: one file, since Wireshark loads one, of the protocol's words and the parts written by hand."""
from backends import cpp

PATH = "dissector/hostlink.lua"
PARTS = ("fields", "layout", "stream", "message", "frames", "statistics", "exchange", "capture", "show", "plugin")


def part(name):
    return f"dissector/parts/{name}.lua"


def quoted(text):
    return f'"{text}"'


def table(name, rows, indent="    "):
    """Rows are pairs of a number and what stands there in Lua."""
    return [f"{indent}{name} = {{", *(f"{indent}    [{key}] = {value}," for key, value in rows), f"{indent}}},"]


def names(rows, number="{}"):
    return [(number.format(row.number), quoted(row.name)) for row in rows]


def packet(model):
    flags = model.flags
    yield f"    startMark = 0x{model.start_mark.number:04X},"
    yield f"    headerSize = {model.header_size},"
    yield f"    trailerSize = {model.trailer_size},"
    yield from (f"    {field.constant} = {field.offset}," for field in model.fields if field.constant)
    yield f"    formatMask = 0x{flags.format_mask:02X},"
    yield f"    unusedMask = 0x{flags.unused_mask:02X},"
    yield f"    acknowledgeMask = 0x{flags.acknowledge_mask:02X},"
    yield f"    acknowledgeShift = {flags.acknowledge_shift},"
    yield "    controlFlags = {"
    yield from (f'        {{ mask = 0x{row.number:02X}, name = "{row.name}", doc = "{row.doc}" }},'
                for row in model.control_flags.rows)
    yield "    },"
    yield f"    lastFlag = 0x{model.control_flags.row('PKT_Last').number:02X},"
    for row in model.formats.rows:
        yield f"    format{row.enumerator.removeprefix('FMT_')} = {row.number},"
    yield from table("formats", names(model.formats.rows))
    for row in model.frame_types.rows:
        yield f"    frame{row.enumerator.removeprefix('FRT_')} = {row.number},"
    yield f"    irqPayloadSize = {model.frame_types.row('FRT_Irq').payload},"
    yield from table("frameTypes", names(model.frame_types.rows))
    for row in model.acknowledgements.rows:
        yield f"    acknowledge{row.enumerator} = {row.number},"
    yield from table("acknowledgements", [(row.number, quoted(row.meaning)) for row in model.acknowledgements.rows])


def messages(model):
    each = model.messages
    yield f"    responseBit = 0x{each.response_bit:04X},"
    yield f"    largestMessage = {each.largest_number},"
    yield f"    requestLists = 0x{each.request_lists:02X},"
    yield f"    responseLists = 0x{each.response_lists:02X},"
    yield from table("messageNames", names(each.rows, "0x{:04X}"))
    yield from table("messageTags", [(f"0x{row.number:04X}", quoted(row.tags)) for row in each.rows if row.tags])
    yield from table("answers", [(f"0x{row.number:04X}", f"0x{each.row(row.answer).number:04X}")
                                 for row in each.rows if row.answer])
    yield from table("encodingNames", names(model.encodings.rows))
    yield from table("encodings", [(row.number, f'{{ kind = "{row.kind}", width = {row.width} }}')
                                   for row in model.encodings.rows])


def vocabulary(model):
    yield "    tags = {"
    for tags in model.tags.values():
        yield from table(tags.enumeration, names(tags.rows, "0x{:04X}"), " " * 8)
    yield "    },"
    yield "    -- Which set names the values of a tag."
    yield "    valuesOf = {"
    for tags in model.tags.values():
        rows = [(f"0x{row.number:04X}", quoted(row.values)) for row in tags.rows if row.values]
        yield from table(tags.enumeration, rows, " " * 8)
    yield "    },"
    yield "    values = {"
    for values in model.values.values():
        yield from table(values.name, names(values.rows), " " * 8)
    yield "    },"
    bits = [values.name for values in model.values.values() if values.kind == "bits"]
    yield "    bits = { " + ", ".join(f"{name} = true" for name in bits) + " },"


def files(model, read):
    lines = [f"-- {cpp.WRITTEN}", "-- What is written by hand stands in dissector/parts; docs/dissector.md tells about both.", "",
             "-- ---- words", "", "local words = {", *packet(model), *messages(model), *vocabulary(model), "}"]
    for name in PARTS:
        lines += ["", f"-- ---- {name}", "", read(part(name)).strip("\n")]
    return {PATH: cpp.file(lines)}
