"""The tables of the documents, between the marks `<!-- protocol: NAME -->` and `<!-- end of NAME -->`."""
import re

from reading import Mistake

PAGES = ("docs/wire-format.md", "docs/vocabulary.md")
MARKED = re.compile(r"(<!-- protocol: (?P<name>[\w ]+)[^>]*-->\n).*?(\n<!-- end of (?P=name) -->)", re.DOTALL)
OPENED = re.compile(r"<!-- protocol: ([\w ]+)")


def table(heads, rows):
    def line(cells):
        return "|" + "".join(f" {cell} |" if cell != "" else " |" for cell in cells)

    return "\n".join([line(heads), "|" + "---|" * len(heads), *map(line, rows)])


def code(text):
    return f"`{text}`"


def hexadecimal(data):
    return code(" ".join(f"{byte:02X}" for byte in data))


def u16(number):
    return number.to_bytes(2, "little")


def packet_fields(model):
    behind = f"{model.header_size} + n"
    return table(("offset", "bytes", "field", "written", "checked by the receiver"), [
        (behind if field.offset is None else field.offset, "n" if field.width is None else field.width, field.meaning,
         field.written, "yes" if field.checked else "no") for field in model.fields])


def bits_of(mask):
    bits = [bit for bit in range(8) if mask >> bit & 1]
    return ", ".join(map(str, bits)) if len(bits) < 3 else f"{bits[0]} to {bits[-1]}"


def flag_bits(model):
    formats = ", ".join(f"{row.number} {row.name}" for row in model.formats.rows)
    flags = model.flags
    rows = [(flags.format_mask, "format", f"{formats} ({flags.format_meaning})"),
            (flags.unused_mask, "–", flags.unused_meaning)]
    rows += [(row.number, row.name, row.doc) for row in model.control_flags.rows]
    return table(("bit", "mask", "name", "meaning"),
                 [(bits_of(mask), code(f"0x{mask:02X}"), name, meaning) for mask, name, meaning in sorted(rows)])


def frame_types(model):
    rows = [(row.name, row.number, model.formats.row(row.format).number,
             f"{model.frame_size(row)}{' and more' if row.payload is None else ''}") for row in model.frame_types.rows]
    return table(("frame type", "number", "format bits", "length"),
                 [*rows, ("not used", model.frame_types_others, "as received", "any")])


def acknowledgements(model):
    last = model.control_flags.row("PKT_Last").number | model.formats.row("FMT_Message").number

    def row_of(row):
        flags = last | row.number << model.flags.acknowledge_shift
        frame = u16(model.start_mark.number) + u16(model.header_size) + bytes([flags, 9, 0, 0])
        return row.meaning, f"{row.number} `{row.enumerator}`", code(f"0x{flags:02X}"), hexadecimal(frame)

    return table(("meaning", "`AcknowledgeType`", "flags", "frame with id 9"), map(row_of, model.acknowledgements.rows))


def messages(model):
    def row_of(row):
        answer = model.messages.row(row.answer)
        shown = f"`0x{answer.number:04X}` {answer.name}" if answer else ""
        body = "list" if row.body == "list" else "values"
        return code(f"0x{row.number:04X}"), row.name, body, tags_of(row), shown

    def tags_of(row):
        return code(row.tags) if row.tags else ""

    return table(("id", "name", "body", "tags or items", "answer"), map(row_of, model.messages.rows))


def body_masks(model):
    def row_of(half, mask):
        return half, code(f"0x{mask:02X}"), ", ".join(str(bit) for bit in range(32) if mask >> bit & 1)

    return table(("half", "mask", "bits set"), [
        row_of("requests (bit 15 clear)", model.messages.request_lists),
        row_of("responses (bit 15 set)", model.messages.response_lists)])


def encodings(model):
    tag = u16(model.encodings.example_tag)

    def row_of(row):
        item, shown = tag + bytes([row.number]), row.example
        if row.kind == "binary":
            item += len(row.example).to_bytes(row.width, "little") + row.example.encode()
            shown = f'"{row.example}"'
        elif row.kind != "nil":
            item += row.example.to_bytes(row.width, "little", signed=row.kind == "signed")
            shown = f"0x{row.example:04X}" if row.example == 0x1234 else str(row.example).replace("-", "−")
        width = f"{row.width} (length) + length" if row.kind == "binary" else row.width
        example = hexadecimal(item) + (f" — {shown}" if shown is not None else "")
        return row.name, f"`{row.number:02X}` {row.number}", width, example

    return table(("encoding", "byte", "bytes of the value", f"item with tag `0x{model.encodings.example_tag:04X}`"),
                 map(row_of, model.encodings.rows))


def tags(model):
    def row_of(each):
        return code(each.enumeration), each.meaning or ", ".join(f"{row.number} {row.meaning}"
                                                                          for row in each.rows)

    return table(("tags", "numbers"), map(row_of, model.tags.values()))


def results(model):
    return table(("code", "name", "meaning"),
                 [(row.number, code(row.enumerator), row.doc) for row in model.results.rows])


def states(model):
    def row_of(row):
        values = model.values.get(row.values)
        kind = f"{'bits' if values.kind == 'bits' else 'values'} of {code(values.name)}" if values else ""
        return code(f"0x{row.number:04X}"), row.number, code(row.enumerator), f'"{row.name}"', kind

    return table(("id", "decimal", "enumerator", "name in the log", "named values"),
                 map(row_of, model.tags["State"].rows))


def values(model):
    return table(("values", "kind", "numbers and their names"), [
        (code(each.name), each.kind, "; ".join(f'{row.number} "{row.name}"' for row in each.rows))
        for each in model.values.values()])


TABLES = {"packet fields": packet_fields, "flags": flag_bits, "frame types": frame_types,
          "acknowledgements": acknowledgements, "messages": messages, "body masks": body_masks, "encodings": encodings,
          "tags": tags, "result codes": results, "states": states, "values": values}


def filled(page, text, model):
    names = [match["name"].strip() for match in MARKED.finditer(text)]
    opened = [name.strip() for name in OPENED.findall(text)]
    if names != opened:
        raise Mistake(next(name for name in opened if name not in names), "this table's mark has no end", page)
    for name in names:
        if name not in TABLES:
            raise Mistake(name, f"there is no such table; known: {', '.join(TABLES)}", page)
    return MARKED.sub(lambda m: m[1] + TABLES[m["name"].strip()](model) + m[3], text), names


def files(model, read):
    written, seen = {}, []
    for page in PAGES:
        written[page], names = filled(page, read(page), model)
        seen += names
    missing = [name for name in TABLES if seen.count(name) != 1]
    if missing:
        raise Mistake(missing[0], f"this table is marked {seen.count(missing[0])} times, not once", " and ".join(PAGES))
    return written
