"""C and C++ as .clang-format wants them."""
from reading import Mistake

COLUMNS = 120
# The macros of HostLinkNumbers.h that give an enumeration its type where the language knows one.
WIDTHS = {"uint8_t": "HOSTLINK_OF_8_BITS", "uint16_t": "HOSTLINK_OF_16_BITS", "uint32_t": "HOSTLINK_OF_32_BITS",
          "int32_t": "HOSTLINK_OF_SIGNED_32_BITS"}
WRITTEN = "Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew."


def line(row, text):
    if len(text) > COLUMNS:
        raise Mistake(row.key, f"too long: {text.strip()!r} takes more than {COLUMNS} columns")
    return text


def enumerators(rows, number="{}", prefix="", doc=lambda row: row.doc):
    """One row a line; comments that follow each other stand below each other."""
    lines, group = [], []

    def put_group():
        width = max((len(code) for _, code in group), default=0)
        lines.extend(line(row, f"{code:<{width}} ///< {doc(row)}") for row, code in group)
        group.clear()

    for row in rows:
        code = f"    {prefix}{row.enumerator} = {number.format(row.number)},"
        if doc(row):
            group.append((row, code))
        else:
            put_group()
            lines.append(line(row, code))
    put_group()
    return lines


def described(enumeration):
    return line(enumeration, f"/// {enumeration.doc}")


def shared_enumeration(each, type_name, number="{}", **how):
    """An enumeration of C99 and C++17; C has its name as an integer of that width."""
    return [described(each), f"enum {name_of(each)} {WIDTHS[type_name]} {{",
            *enumerators(each.rows, number, **how), "};", "#ifndef __cplusplus",
            f"typedef {type_name} {name_of(each)};", "#endif", ""]


def constants(each, number="{}"):
    """Numbers without a type of their own."""
    return [described(each), "enum {", *enumerators(each.rows, number), "};", ""]


def name_of(each):
    return getattr(each, "enumeration", "") or each.name


def file(lines):
    return "\n".join(lines).rstrip("\n") + "\n"
