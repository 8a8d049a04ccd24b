"""The enumerations of the Python package."""
import keyword
import re

from backends import cpp
from reading import Mistake

PATH = "python/hostlink/protocol.py"
COLUMNS = 120


def class_name(each):
    return getattr(each, "enumeration", "") or each.name


def member(row):
    """`STA_PlayerVolume` as `PlayerVolume`; a row without an enumerator by its name."""
    name = row.enumerator.split("_", 1)[-1] if row.enumerator else re.sub(r"\W", "_", row.name)
    return name + "_" if keyword.iskeyword(name) or name[0].isdigit() else name


def enumeration(each, number="{}", base="IntEnum", doc=""):
    names = {}
    lines = ["", "", f"class {class_name(each)}({base}):", f'    """{doc or each.doc}"""', ""]
    for row in each.rows:
        name = member(row)
        if name in names:
            raise Mistake(row.key, f"{name} stands at {names[name]} too")
        names[name] = row.key
        line = f"    {name} = {number.format(row.number)}"
        words = row.doc or row.meaning
        lines.append(line + (f"  # {words}" if words and len(line) + len(words) + 4 <= COLUMNS else ""))
    return lines


def value_sets(model):
    """With the states that have each of them, for those who read the class alone."""
    for values in model.values.values():
        states = [row.name for tags in model.tags.values() for row in tags.rows if row.values == values.name]
        kind = "Bits" if values.kind == "bits" else "Values"
        doc = values.doc or f"{kind} of the state{'s' * (len(states) > 1)} {', '.join(states)}."
        yield from enumeration(values, base="IntFlag" if values.kind == "bits" else "IntEnum", doc=doc)


def named_states(model):
    tags = model.tags["State"]
    yield from ("", "", "#: What the numbers of a state mean, for the states whose values have names.",
                "VALUES: dict[int, type[IntEnum] | type[IntFlag]] = {")
    yield from (f"    State.{member(row)}: {row.values}," for row in tags.rows if row.values)
    yield "}"


def answers(model):
    messages = model.messages
    yield from ("", "", "#: The message that answers one.", "ANSWERS: dict[int, MessageId] = {")
    yield from (f"    MessageId.{member(row)}: MessageId.{member(messages.row(row.answer))},"
                for row in messages.rows if row.answer)
    yield "}"


def files(model, _read):
    lines = [f"# {cpp.WRITTEN}", '"""Names and numbers of the protocol: enumerations, each with its words."""', "",
             "from enum import IntEnum, IntFlag"]
    lines += enumeration(model.frame_types)
    lines += enumeration(model.control_flags, "0x{:02X}", "IntFlag")
    lines += enumeration(model.acknowledgements)
    lines += enumeration(model.messages, "0x{:04X}")
    lines += enumeration(model.encodings)
    for tags in model.tags.values():
        lines += enumeration(tags, "0x{:04X}")
    lines += value_sets(model)
    lines += named_states(model)
    lines += answers(model)
    return {PATH: cpp.file(lines)}
