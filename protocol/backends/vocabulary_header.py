"""The tags and states of value messages, and those of their values that are enumerations, for C99 and C++17."""
from backends import cpp

PATH = "src/lib/hostlink/HostLinkVocabularyNumbers.h"

HEAD = f"""\
// {cpp.WRITTEN}
/// @file
/// What value messages carry: tags, states and values by their numbers. Reads as C99 and as C++17.
#ifndef HOSTLINK_VOCABULARY_NUMBERS_H
#define HOSTLINK_VOCABULARY_NUMBERS_H

#include <stdint.h>

#include "HostLinkNumbers.h"
"""


def files(model, _read):
    lines = HEAD.split("\n")
    for tags in model.tags.values():
        number = "{}" if tags.type == "uint16_t" else "0x{:04X}"  # few and small, or many in ranges
        lines += cpp.shared_enumeration(tags, tags.type, number)
        for name in dict.fromkeys(row.values for row in tags.rows if row.values):
            if model.values[name].doc:
                lines += cpp.shared_enumeration(model.values[name], "int32_t")
    return {PATH: cpp.file([*lines, "#endif"])}
