"""The function core's numbers, for C99 and C++17."""
from backends import cpp

PATH = "src/lib/hostlink/HostLinkNumbers.h"

HEAD = f"""\
// {cpp.WRITTEN}
/// @file
/// The numbers of packets, frames and messages, and the result codes of the function core. Reads as C99 and as C++17.
#ifndef HOSTLINK_NUMBERS_H
#define HOSTLINK_NUMBERS_H

#include <stdint.h>

#ifdef __cplusplus
#define HOSTLINK_OF_8_BITS : uint8_t
#define HOSTLINK_OF_16_BITS : uint16_t
#define HOSTLINK_OF_32_BITS : uint32_t
#define HOSTLINK_OF_SIGNED_32_BITS : int32_t
#else
/* C99 enumerations have no fixed width: the constants stand alone and the name is an integer of that width. */
#define HOSTLINK_OF_8_BITS
#define HOSTLINK_OF_16_BITS
#define HOSTLINK_OF_32_BITS
#define HOSTLINK_OF_SIGNED_32_BITS
#endif
"""


def macro(constant, bits):
    digits = bits // 4
    return [f"/// {constant.doc}", f"#define {constant.enumerator} UINT{bits}_C(0x{constant.number:0{digits}X})", ""]


def scoped(each):
    """Too common as bare words: scoped in C++, with the type's name in front in C."""
    name = each.enumeration
    return [cpp.described(each), "#ifdef __cplusplus", f"enum class {name} : uint8_t {{",
            *cpp.enumerators(each.rows), "};", "#else", f"typedef uint8_t {name};", "enum {",
            *cpp.enumerators(each.rows, prefix=f"{name}_"), "};", "#endif", ""]


def message_doc(row):
    return ", ".join(text for text in ("list" if row.body == "list" else "", row.doc) if text)


def files(model, _read):
    lines = HEAD.split("\n")
    lines += cpp.constants(model.results)
    lines += macro(model.no_start_mark, 32) + macro(model.start_mark, 16)
    lines += cpp.constants(model.sizes)
    lines += cpp.shared_enumeration(model.control_flags, "uint8_t", "0x{:02X}")
    lines += cpp.shared_enumeration(model.formats, "uint32_t")
    lines += cpp.shared_enumeration(model.frame_types, "uint32_t")
    lines += scoped(model.acknowledgements)
    lines += cpp.shared_enumeration(model.messages, "uint16_t", "0x{:04X}", doc=message_doc)
    lines += cpp.shared_enumeration(model.encodings, "uint8_t")
    return {PATH: cpp.file([*lines, "#endif"])}
