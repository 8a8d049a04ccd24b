"""The rows that the library's tables of names are filled from."""
from backends import cpp

PATH = "src/lib/hostlink/vocabulary/VocabularyRows.h"

HEAD = f"""\
// {cpp.WRITTEN}
/// @file
/// What the vocabulary tables hold, in the order of the numbers.
#pragma once

#include "Rows.h"
#include "hostlink/HostLinkVocabulary.h"

// One row a line, however short.
// clang-format off
"""


def rows_name(table):
    return table.removesuffix("ToString") + "Rows"


def values_name(values):
    return values.name[0].lower() + values.name[1:] + "Values"


def rows(array, names, number):
    lines = [cpp.line(row, f'    {{{number(row)}, "{row.name}"}},') for row in names]
    return [f"constexpr Row {array}[] = {{", *lines, "};", f"static_assert(isAscending({array}));", ""]


def named(enumeration):
    return rows(rows_name(enumeration.table), enumeration.rows, lambda row: row.enumerator)


def value_sets(model):
    for values in model.values.values():
        if values.kind == "bits":
            yield "// Single bits."
        yield from rows(values_name(values), values.rows, lambda row: row.enumerator or row.number)


def tags_with_values(model, tags):
    lines = [cpp.line(row, f"    {{{row.enumerator}, {values_name(model.values[row.values])}}},")
             for row in tags.rows if row.values]
    return [f"constexpr TagValues {rows_name(tags.values_table)}[] = {{", *lines, "};", ""]


def bits(model, tags):
    lines = [f"    {row.enumerator}," for row in model.states_of_bits(tags)]
    return [f"constexpr uint16_t {tags.bits_table}Rows[] = {{", *lines, "};", ""]


def namings(model):
    """Which tables name the items of which message; list messages name theirs without one."""
    for row in model.messages.rows:
        if row.tags and row.body == "variant" and not row.by_number:
            tags = model.tags[row.tags]
            values = f"&{tags.values_table}" if tags.values_table else "nullptr"
            yield cpp.line(row, f"    {{{row.enumerator}, &{tags.table}, {values}}},")


def files(model, _read):
    lines = HEAD.split("\n")
    for enumeration in (model.control_flags, model.formats, model.messages, model.encodings, *model.tags.values()):
        lines += named(enumeration)
    lines += value_sets(model)
    for tags in model.tags.values():
        if tags.values_table:
            lines += tags_with_values(model, tags)
        if tags.bits_table:
            lines += bits(model, tags)
    lines += ["constexpr MessageNaming messageNamings[] = {", *namings(model), "};"]
    return {PATH: cpp.file(lines)}
