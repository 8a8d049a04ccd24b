"""The protocol as hostlink.toml describes it, checked once. The back ends read it and check nothing."""
from dataclasses import dataclass

import reading
from reading import Mistake

U8, U16, U32 = 0xFF, 0xFFFF, 0xFFFFFFFF
I32 = (-0x80000000, 0x7FFFFFFF)
KINDS_OF_ENCODING = ("nil", "binary", "unsigned", "signed")
KINDS_OF_VALUES = ("enumeration", "bits")
BODIES = ("list", "variant")


@dataclass(frozen=True)
class Row:
    """A number and its words. `key` says where it stands in the file."""

    key: str
    number: int
    enumerator: str = ""
    name: str = ""
    doc: str = ""
    meaning: str = ""


@dataclass(frozen=True)
class FrameType(Row):
    format: str = ""
    payload: int | None = None  # bytes; None: what the message needs
    size: str = ""


@dataclass(frozen=True)
class Message(Row):
    body: str = ""
    tags: str = ""
    answer: str = ""
    by_number: bool = False  # the log does not name its items


@dataclass(frozen=True)
class EncodingRow(Row):
    kind: str = ""
    width: int = 0
    example: int | str | None = None


@dataclass(frozen=True)
class Tag(Row):
    values: str = ""


@dataclass(frozen=True)
class Field:
    """A field of a packet; no offset: behind the payload, no width: as long as it takes."""

    key: str
    name: str
    constant: str
    offset: int | None
    width: int | None
    meaning: str
    written: str
    checked: bool


@dataclass(frozen=True)
class Enumeration:
    """Rows that become an enumeration of C and C++, and perhaps a table of names."""

    key: str
    rows: tuple
    doc: str = ""
    enumeration: str = ""  # none: the constants stand alone
    table: str = ""

    def row(self, enumerator):
        return next((row for row in self.rows if row.enumerator == enumerator), None)


@dataclass(frozen=True)
class Messages(Enumeration):
    response_bit: int = 0
    largest_number: int = 0
    request_lists: int = 0
    response_lists: int = 0

    def is_response(self, message):
        return message.number & self.response_bit != 0

    def body_of(self, number):
        lists = self.response_lists if number & self.response_bit else self.request_lists
        return "list" if lists >> (number & 31) & 1 else "variant"


@dataclass(frozen=True)
class Encodings(Enumeration):
    example_tag: int = 0


@dataclass(frozen=True)
class Tags(Enumeration):
    """What the items of some messages mean."""

    key_type: str = ""
    type: str = ""
    values_table: str = ""
    bits_table: str = ""
    meaning: str = ""


@dataclass(frozen=True)
class Values:
    """Named values of a tag."""

    key: str
    name: str
    kind: str
    rows: tuple
    doc: str = ""  # without one it is no enumeration of the library


@dataclass(frozen=True)
class Flags:
    """The parts of the flags byte."""

    format_mask: int
    format_constant: str
    format_meaning: str
    unused_mask: int
    unused_meaning: str
    acknowledge_mask: int
    acknowledge_constant: str

    @property
    def acknowledge_shift(self):
        return (self.acknowledge_mask & -self.acknowledge_mask).bit_length() - 1


@dataclass
class Model:
    start_mark: Row
    no_start_mark: Row
    fields: tuple
    flags: Flags
    sizes: Enumeration
    control_flags: Enumeration
    formats: Enumeration
    frame_types: Enumeration
    frame_types_others: str
    acknowledgements: Enumeration
    results: Enumeration
    messages: Messages
    encodings: Encodings
    tags: dict
    values: dict

    @property
    def header_size(self):
        return next(f.offset for f in self.fields if f.width is None)

    @property
    def trailer_size(self):
        return sum(f.width for f in self.fields if f.offset is None)

    def frame_size(self, frame):
        """Bytes of a frame of one packet; with the message's payload, of the shortest."""
        if frame.payload == 0:
            return self.header_size
        return self.header_size + self.trailer_size + (1 if frame.payload is None else frame.payload)

    def states_of_bits(self, tags):
        return [row for row in tags.rows if row.values and self.values[row.values].kind == "bits"]


# ---- Reading


def common(row, low, high, named=True, enumerated=True):
    return {
        "key": row.key,
        "number": row.number("number", low, high),
        "enumerator": row.identifier("enumerator") if enumerated else "",
        "name": row.log_name("name") if named else "",
        "doc": row.text("doc", ""),
        "meaning": row.text("meaning", ""),
    }


def rows_of(table, low, high, make=Row, once=("number", "enumerator", "name"), **which):
    rows = []
    for row in table.rows():
        with row:
            rows.append(Row(**common(row, low, high, **which)) if make is Row else make(row, low, high))
    check_rows(rows, once)
    return tuple(rows)


def check_rows(rows, once):
    """What stands `once`; where that is the number, in ascending order."""
    for what in once:
        seen = {}
        for row in rows:
            value = getattr(row, what)
            if value != "" and value in seen:
                shown = f"{value:#06x}" if what == "number" else value
                other = f"{seen[value].key} ({seen[value].enumerator or seen[value].name})"
                raise Mistake(f"{row.key}.{what}", f"{shown} stands at {other} too")
            seen[value] = row
    for before, row in zip(rows, rows[1:]):
        if "number" in once and row.number < before.number:
            raise Mistake(f"{row.key}.number", f"{row.number:#06x} stands behind {before.number:#06x}: rows ascend")


def read_enumeration(table, low, high, make=Row, kind=Enumeration, names=("enumeration",), extra=None, **which):
    """`names` are the keys that name what is made of the rows."""
    with table:
        own = {"key": table.key, "doc": table.text("doc")}
        own.update({name: table.identifier(name) for name in names})
        own.update(extra(table) if extra else {})
        return kind(rows=rows_of(table, low, high, make, **which), **own)


def read_constant(table, high):
    with table:
        return Row(table.key, table.number("number", 0, high), table.identifier("enumerator"), doc=table.text("doc"))


def read_field(row):
    with row:
        offset, width = row.take("offset"), row.take("width")
        if not (type(offset) is int and 0 <= offset <= U8 or offset == "8 + n"):
            raise Mistake(row.path("offset"), f'must be a number of bytes or "8 + n", not {offset!r}')
        if not (type(width) is int and width in (1, 2, 4) or width == "n"):
            raise Mistake(row.path("width"), f'unknown width {width!r}; known: 1, 2, 4, "n"')
        name = row.text("name")
        return Field(row.key, name, row.identifier("constant", ""), None if isinstance(offset, str) else offset,
                     None if isinstance(width, str) else width, row.text("meaning", name), row.text("written"),
                     row.flag("checked"))


def read_fields(packet):
    """In wire order, without gaps, with one payload and what stands behind it."""
    fields = tuple(read_field(row) for row in packet.rows("fields"))
    seen, expected = set(), 0
    for each in fields:
        if each.name in seen:
            raise Mistake(f"{each.key}.name", f"{each.name!r} stands twice")
        seen.add(each.name)
        if each.offset != expected:
            raise Mistake(f"{each.key}.offset", f"must be {'8 + n' if expected is None else expected}")
        expected = None if each.width is None or expected is None else expected + each.width
    if sum(each.width is None for each in fields) != 1:
        raise Mistake("packet.fields", 'one field has the width "n", the payload')
    return fields


def read_flags(flags):
    with flags, flags.table("format") as own, flags.table("unused") as unused, flags.table("acknowledge") as answer:
        return Flags(own.number("mask", 1, U8), own.identifier("constant"), own.text("meaning"),
                     unused.number("mask", 0, U8), unused.text("meaning"),
                     answer.number("mask", 1, U8), answer.identifier("constant"))


def read_frame_type(row, low, high):
    payload = row.take("payload")
    if payload != "n" and not (type(payload) is int and 0 <= payload <= U16):
        raise Mistake(row.path("payload"), f'must be a number of bytes or "n", not {payload!r}')
    return FrameType(format=row.identifier("format"), payload=None if payload == "n" else payload,
                     size=row.identifier("size", ""), **common(row, low, high))


def read_message(row, low, high):
    return Message(body=row.choice("body", BODIES), tags=row.identifier("tags", ""),
                   answer=row.identifier("answer", ""),
                   by_number=row.choice("items", ("named", "by number"), "named") == "by number",
                   **common(row, low, high))


def read_encoding(row, low, high):
    kind = row.choice("kind", KINDS_OF_ENCODING)
    width = row.take("width")
    possible = {"nil": (0,), "binary": (2,)}.get(kind, (1, 2, 4, 8))
    if width not in possible:
        raise Mistake(row.path("width"), f"{width!r} is no width of {kind}; known: {', '.join(map(str, possible))}")
    return EncodingRow(kind=kind, width=width, example=read_example(row, kind, width), **common(row, low, high))


def read_example(row, kind, width):
    if kind == "nil":
        return None
    if kind == "binary":
        return row.text("example")
    signed = kind == "signed"
    return row.number("example", -(1 << 8 * width - 1) if signed else 0, (1 << 8 * width - signed) - 1)


def read_tag(row, low, high):
    return Tag(values=row.identifier("values", ""), **common(row, low, high))


def read_tags(name, table):
    def extra(own):
        return {
            "enumeration": name,
            "key_type": own.choice("key", ("uint16_t", name), "uint16_t"),
            "type": own.choice("enumeration_type", ("uint16_t", "int32_t"), "uint16_t"),
            "values_table": own.identifier("values_table", ""),
            "bits_table": own.identifier("bits_table", ""),
            "meaning": own.text("meaning", ""),
        }

    return read_enumeration(table, 0, U16, read_tag, Tags, ("table",), extra)


def read_values(name, table):
    with table:
        kind = table.choice("kind", KINDS_OF_VALUES)
        doc = table.text("doc", "")
        rows = rows_of(table, *I32, enumerated=bool(doc))
    for row in rows:
        if kind == "bits" and (row.number <= 0 or row.number & (row.number - 1)):
            raise Mistake(f"{row.key}.number", f"{row.number} is not one bit")
    return Values(table.key, name, kind, rows, doc)


def message_numbers(table):
    return {
        "response_bit": table.number("response_bit", 1, U16),
        "largest_number": table.number("largest_number", 0, U16),
        "request_lists": table.number("request_lists", 0, U32),
        "response_lists": table.number("response_lists", 0, U32),
    }


def load(path):
    with reading.load(path) as top:
        with top.table("packet") as packet:
            marks = read_constant(packet.table("start_mark"), U16), read_constant(packet.table("no_start_mark"), U32)
            fields = read_fields(packet)
            flags = read_flags(packet.table("flags"))
        others = []
        both = ("enumeration", "table")
        model = Model(
            *marks, fields, flags,
            sizes=read_enumeration(top.table("sizes"), 0, U16, names=(), named=False, once=("enumerator",)),
            control_flags=read_enumeration(top.table("control_flags"), 1, U8, names=both),
            formats=read_enumeration(top.table("formats"), 0, U8, names=both),
            frame_types=read_enumeration(top.table("frame_types"), 0, U8, read_frame_type,
                                         extra=lambda table: others.append(table.text("others")) or {}),
            frame_types_others="",
            acknowledgements=read_enumeration(top.table("acknowledgements"), 0, U8, named=False),
            results=read_enumeration(top.table("results"), 0, U32, names=(), named=False),
            messages=read_enumeration(top.table("messages"), 0, U16, read_message, Messages, both, message_numbers),
            encodings=read_enumeration(top.table("encodings"), 0, U8, read_encoding, Encodings, both,
                                       lambda table: {"example_tag": table.number("example_tag", 0, U16)}),
            tags={name: read_tags(name, table) for name, table in top.tables("tags")},
            values={name: read_values(name, table) for name, table in top.tables("values")},
        )
        model.frame_types_others = others[0]
    check(model)
    return model


# ---- What the parts say of each other


def check(model):
    check_needed(model)
    check_enumerations(model)
    check_enumerators(model)
    check_flags(model)
    check_sizes(model)
    check_messages(model)
    check_tags(model)


def check_needed(model):
    """What the back ends ask for by name."""
    for enumeration, enumerators in (
            (model.control_flags, ("PKT_Last",)), (model.formats, ("FMT_Reset", "FMT_Irq", "FMT_Message")),
            (model.frame_types, ("FRT_Irq",)), (model.encodings, ("ENC_Uint32",))):
        for enumerator in enumerators:
            if enumeration.row(enumerator) is None:
                raise Mistake(f"{enumeration.key}.rows", f"there is no row {enumerator}")
    if "State" not in model.tags:
        raise Mistake("tags.State", "missing")


def check_enumerations(model):
    """Types and tables of the library by their names."""
    seen = {}
    for each in enumerations_of(model):
        names = (each.name,) if isinstance(each, Values) else (each.enumeration, each.table)
        for name in filter(None, names):
            if name in seen:
                raise Mistake(each.key, f"{name} is the name of {seen[name]} too")
            seen[name] = each.key


def enumerations_of(model):
    yield from (model.sizes, model.control_flags, model.formats, model.frame_types, model.results, model.messages,
                model.encodings)  # not the acknowledgements, whose enumerators are their type's own
    yield from model.tags.values()
    yield from (values for values in model.values.values() if values.doc)


def check_enumerators(model):
    """They are global names of C and C++."""
    seen = {row.enumerator: row for row in (model.start_mark, model.no_start_mark)}
    for each in enumerations_of(model):
        for row in each.rows:
            if row.enumerator in seen:
                raise Mistake(f"{row.key}.enumerator", f"{row.enumerator} stands at {seen[row.enumerator].key} too")
            seen[row.enumerator] = row


def check_flags(model):
    taken = {model.flags.format_mask: "packet.flags.format"}
    parts = [("packet.flags.unused.mask", model.flags.unused_mask)]
    parts += [(f"{row.key}.number", row.number) for row in model.control_flags.rows]
    for key, mask in parts:
        if key.endswith("number") and mask & (mask - 1):
            raise Mistake(key, f"{mask:#04x} is not one bit")
        for other, where in taken.items():
            if mask & other:
                raise Mistake(key, f"{mask:#04x} shares a bit with {where}")
        taken[mask] = key
    for enumeration, mask in ((model.formats, model.flags.format_mask), (model.frame_types, model.flags.format_mask),
                              (model.acknowledgements, model.flags.acknowledge_mask >> model.flags.acknowledge_shift)):
        for row in enumeration.rows:
            if row.number & ~mask:
                raise Mistake(f"{row.key}.number", f"{row.number} does not fit its bits of the flags byte")


def check_sizes(model):
    sums = {"HOSTLINK_PACKET_HEADER_SIZE": model.header_size, "HOSTLINK_PACKET_TRAILER_SIZE": model.trailer_size}
    for frame in model.frame_types.rows:
        if model.formats.row(frame.format) is None:
            raise Mistake(f"{frame.key}.format", f"there is no format {frame.format}")
        if frame.size:
            sums[frame.size] = model.frame_size(frame)
    for name, expected in sums.items():
        row = model.sizes.row(name)
        if row is None:
            raise Mistake(model.sizes.key, f"there is no row {name}")
        if row.number != expected:
            raise Mistake(f"{row.key}.number", f"{name} is {row.number}, but the fields of the packet make {expected}")


def check_messages(model):
    messages = model.messages
    answered = {}
    for row in messages.rows:
        if row.number & ~messages.response_bit > messages.largest_number:
            raise Mistake(f"{row.key}.number", f"{row.number:#06x} is above the largest number, "
                                               f"{messages.largest_number}")
        if row.body != messages.body_of(row.number):
            raise Mistake(f"{row.key}.body", f"the id {row.number:#06x} makes it a {messages.body_of(row.number)}")
        if row.tags and row.tags not in model.tags:
            raise Mistake(f"{row.key}.tags", f"unknown kind {row.tags!r}; known: {', '.join(model.tags)}")
        if row.answer:
            answer = messages.row(row.answer)
            if answer is None or not messages.is_response(answer) or messages.is_response(row):
                raise Mistake(f"{row.key}.answer", f"{row.answer} is no response to it")
            if row.answer in answered:
                raise Mistake(f"{row.key}.answer", f"{row.answer} answers {answered[row.answer]} too")
            answered[row.answer] = row.enumerator


def check_tags(model):
    used = set()
    for tags in model.tags.values():
        for row in tags.rows:
            if not row.values:
                continue
            if row.values not in model.values:
                raise Mistake(f"{row.key}.values", f"unknown kind {row.values!r}; known: {', '.join(model.values)}")
            if not tags.values_table:
                raise Mistake(f"{row.key}.values", f"{tags.key} has no values_table that could hold them")
            if model.values[row.values].kind == "bits" and not tags.bits_table:
                raise Mistake(f"{row.key}.values", f"{tags.key} has no bits_table that could hold it")
            used.add(row.values)
    for values in model.values.values():
        if values.name not in used:
            raise Mistake(values.key, "no tag has these values")
