"""Where things stand on the wire, for the function core."""
from backends import cpp

PATH = "src/lib/hostlink/core/WireNumbers.h"

HEAD = f"""\
// {cpp.WRITTEN}
/// @file
/// Offsets, masks and widths of the wire format.
#pragma once

#include <stdint.h>
"""


def files(model, _read):
    flags, messages = model.flags, model.messages
    lines = HEAD.split("\n")
    lines += [f"constexpr uint8_t {field.constant} = {field.offset};" for field in model.fields if field.constant]
    lines += ["", f"constexpr uint8_t {flags.format_constant} = 0x{flags.format_mask:02X};",
              f"constexpr uint8_t {flags.acknowledge_constant} = {flags.acknowledge_shift};"]
    lines += ["", f"constexpr uint16_t responseBit = 0x{messages.response_bit:04X};",
              f"constexpr uint16_t maxMessageNumber = {messages.largest_number};",
              "", "/// Bit i is set where the ids whose low five bits are i have a list for a body.",
              f"constexpr uint32_t requestLists = 0x{messages.request_lists:02X};",
              f"constexpr uint32_t responseLists = 0x{messages.response_lists:02X};", ""]
    lines += value_lengths(model.encodings.rows)
    return {PATH: cpp.file(lines)}


def value_lengths(rows):
    """By encoding from the first on; −1: no such encoding, or none of fixed length."""
    first = rows[0].number
    lengths = [-1] * (rows[-1].number - first + 1)
    for row in rows:
        lengths[row.number - first] = -1 if row.kind == "binary" else row.width
    table = ", ".join(map(str, lengths))
    return [f"constexpr int firstEncoding = {first};", f"constexpr int lastEncoding = {rows[-1].number};", "",
            "/// Bytes of the value behind each encoding; −1: no such encoding, or none of fixed length.",
            f"constexpr int32_t valueLengths[] = {{{table}}};"]
